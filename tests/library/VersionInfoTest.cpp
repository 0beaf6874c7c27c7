#include "exception/NorqException.h"
#include "library/FileVersionInfo.h"
#include "library/VersionInfoListener.h"
#include "library/VersionInfoRegistry.h"
#include "log/SLog.h"
#include "log/SVersionInfo.h"
#include "platform/VersionResource.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <vector>

using namespace norq_std;
using norq_std_internal::platform::findVersionResource;
using NorqStd::SVersionInfo;

namespace {

const NorqStd::SWString plainLibrary(PLAIN_LIBRARY);

std::optional<std::string> resourceOf(const std::string& image) {
    return findVersionResource([&](std::uint64_t offset, std::span<std::byte> bytes) {
        if (offset > image.size() || bytes.size() > image.size() - offset)
            return false;
        std::memcpy(bytes.data(), image.data() + offset, bytes.size());
        return true;
    });
}

template <class Call>
WString messageOf(Call call) {
    try {
        call();
    } catch (const NorqIllegalArgumentException& e) {
        return e.getMessage();
    }
    return u"nothing thrown";
}

class Recorder : public VersionInfoListener {
public:
    ~Recorder() override = default;
    void onModuleAdded(const VersionInfo& info) override {
        heard += u"+" + info.getModuleName();
        throw std::runtime_error("a listener fails");
    }
    void onModuleRemoved(const VersionInfo& info) override {
        heard += u"-" + info.getModuleName() + u"=" + VersionInfoRegistry::getInstance().getModule(u"m").getValue(u"k");
    }
    WString heard;
};

} // namespace

TEST(FileVersionInfoTest, readsWhatTheBuildPutIn) {
    const FileVersionInfo info(plainLibrary);
    EXPECT_EQ(info.GetProductName(), u"Größe \"7\" \\ ?");
    EXPECT_EQ(info.GetProductVersion(), u"1.2.3");
    EXPECT_EQ(info.GetPrivateBuild(), u"0042");
    EXPECT_EQ(info.GetSpecialBuild(), u"");
    EXPECT_EQ(info.GetCompanyName(), u"") << "a key that the resource lacks";
    EXPECT_EQ(FileVersionInfo(NorqStd::SWString(NORQSTD_LIBRARY)).GetProductName(), u"NorqStd");
}

TEST(FileVersionInfoTest, aFileWithoutAResourceIsInvalid) {
    for (const WString& name : {WString(), WString(u"/nowhere/at/all"), WString(u"/usr"), WString(u"/etc/passwd"),
                                WString(u"/bin/sh"), WString(u"a<b")}) {
        const FileVersionInfo info(name);
        EXPECT_EQ(info.GetProductName(), u"Invalid filename");
        EXPECT_EQ(info.GetSpecialBuild(), u"Invalid filename");
    }
}

TEST(FileVersionInfoTest, anImageThatIsCutOrChangedAnywhereIsReadSafely) {
    std::ifstream file(PLAIN_LIBRARY, std::ios::binary);
    const std::string whole((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const std::optional<std::string> resource = resourceOf(whole);
    ASSERT_TRUE(resource);
    const std::size_t behind = whole.find(*resource) + resource->size();
    for (std::size_t length = 0; length < behind; ++length)
        EXPECT_FALSE(resourceOf(whole.substr(0, length))) << length;
    std::string changed = whole.substr(0, behind);
    for (std::size_t at = 0; at < 1024 && at < changed.size(); ++at) {
        const char before = changed[at];
        for (const char value : {'\0', '\x01', '\x7F', '\xFF'}) {
            changed[at] = value;
            const auto found = resourceOf(changed);
            EXPECT_LE(found ? found->size() : 0, norq_std_internal::platform::maxVersionResource);
        }
        changed[at] = before;
    }
}

TEST(VersionInfoRegistryTest, keepsNamedModulesAndTellsListenersWhateverTheyThrow) {
    VersionInfoRegistry& registry = VersionInfoRegistry::getInstance();
    const auto first = std::make_shared<Recorder>();
    const auto second = std::make_shared<Recorder>();
    registry.addListener(first);
    registry.addListener(second);
    VersionInfo info(u"m");
    info.setValue(u"k", u"v");
    registry.addModule(info);
    info.setValue(u"k", u"changed");
    EXPECT_EQ(messageOf([&] { registry.addModule(info); }), u"Module by that name already exists");
    EXPECT_EQ(messageOf([&] { registry.addModule(VersionInfo()); }), u"Module name cannont be empty");
    EXPECT_EQ(registry.getModule(u"m").getValue(u"k"), u"v");
    EXPECT_EQ(registry.getModuleList(), std::set<WString>{u"m"});
    registry.removeModule(u"m");
    EXPECT_EQ(first->heard, u"+m-m=v") << "a module is still there while its end is told";
    EXPECT_EQ(second->heard, first->heard);
    EXPECT_EQ(messageOf([&] { registry.removeModule(u"m"); }), u"Module of that name is not found");
    EXPECT_EQ(messageOf([&] { registry.getModule(u"m"); }), u"Module by that name is not found");
    registry.removeListener(first);
    registry.removeListener(second);
    EXPECT_EQ(messageOf([&] { info.setValue(u"", u"v"); }), u"Key name is empty");
    EXPECT_EQ(messageOf([&] { info.getValue(u""); }), u"Key name is empty");
    EXPECT_EQ(messageOf([&] { info.getValue(u"x"); }), u"Key not found");
}

TEST(SVersionInfoTest, writesTheBannerOfALogFile) {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const stream = open_memstream(&text, &size);
    SVersionInfo info;
    info.AddModule(stream, plainLibrary);
    info.AddModule(stream, plainLibrary);
    info.AddModule(nullptr, "/!nowhere");
    std::fflush(stream);
    const std::string module = "VERSION INFO: " PLAIN_LIBRARY ": Product <Gr\xF6\xDF"
                               "e \"7\" \\ ?> Version <1.2.3> "
                               "Pri Build <0042> Special Build <>.\n";
    EXPECT_EQ(std::string(text, size), module);
    EXPECT_FALSE(info.WriteModuleVerInfo(stream, nullptr));
    const NorqStd::SLog log;
    EXPECT_TRUE(info.WriteModuleVerInfo(stream, &log));
    std::fclose(stream);
    const std::string banner = std::string(text, size).substr(module.size());
    std::free(text);
    EXPECT_TRUE(banner.starts_with("VERSION INFO: Platform <Failed to get correct Operating System.>.\n"
                                   "VERSION INFO: Hostname <"));
    EXPECT_NE(banner.find("VERSION INFO: Debug threshold <>.\nVERSION INFO: Debug size <0>.\n"
                          "VERSION INFO: Debug files <0>.\nVERSION INFO: Log size <0>.\n"
                          "VERSION INFO: Log files <0>.\nVERSION INFO: /!nowhere: Product <Invalid filename>"),
              std::string::npos);
    EXPECT_TRUE(banner.ends_with(module)) << "modules stand in the order of their names";
    EXPECT_EQ(info.GetFilename(), plainLibrary);
    EXPECT_EQ(NorqStd::GetCurrentTimestamp().back(), u' ');
}

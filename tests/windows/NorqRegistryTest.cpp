// The registry as its callers see it: operations, the table of failures, limits, names.

#include "support/DebugCapture.h"
#include "support/RegistryFolder.h"

#include "exception/NorqException.h"
#include "platform/Error.h"
#include "windows/AutoCloseRegistry.h"
#include "windows/NorqRegistry.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace norq_std;
using namespace norqstd_test;
namespace platform = norq_std_internal::platform;

using Names = std::vector<WString>;

class NorqRegistryTest : public RegistryFolder {
protected:
    void SetUp() override {
        RegistryFolder::SetUp();
        bool existed = true;
        registry.createKey(existed, HKEY_CURRENT_USER, u"Software\\Norq", KEY_ALL_ACCESS, 0);
        EXPECT_FALSE(existed);
    }
    void TearDown() override {
        registry.closeKey();
        RegistryFolder::TearDown();
    }

    void setRaw(const WString& name, std::uint32_t type, std::string_view bytes) {
        HKey key = 0;
        ASSERT_EQ(platform::openRegistryKey(HKEY_CURRENT_USER, registry.getPath(), KEY_WRITE, key), 0);
        EXPECT_EQ(platform::setRegistryValue(key, name, type, bytes), 0);
        platform::closeRegistryKey(key);
    }

    NorqRegistry registry;
};

/// The exception's class, number and text.
std::string thrownBy(const std::function<void()>& step, std::u16string_view part = u"") {
    try {
        step();
    } catch (const NorqException& failure) {
        const WString whole = failure.getClassName();
        const WString name = whole.substr(whole.rfind(u'.') + 1);
        EXPECT_NE(failure.getMessage().find(part), WString::npos) << std::string(name.begin(), name.end());
        return std::string(name.begin(), name.end()) + " " + std::to_string(failure.getErrNum());
    }
    return "nothing";
}

TEST_F(NorqRegistryTest, TextsAndNumbersReadAsEachOther) {
    registry.setStrValue(u"text", u"a text \U0001F600 \xD800");
    registry.setIntValue(u"number", -7);
    EXPECT_EQ(registry.getStrValue(u"text"), u"a text \U0001F600 \xD800");
    EXPECT_EQ(registry.getStrValue(u"number"), u"-7");
    EXPECT_EQ(registry.getIntValue(u"number", 1), -7);

    const std::pair<const WChar*, std::int32_t> texts[] = {{u"12", 12},         {u" \t-12 rest", -12},
                                                           {u"+3", 3},          {u"2147483647", 2147483647},
                                                           {u"2147483648", 99}, {u"x", 99},
                                                           {u"", 99},           {u"-", 99},
                                                           {u"+-3", 99}};
    for (const auto& [text, number] : texts) {
        registry.setStrValue(u"parsed", text);
        EXPECT_EQ(registry.getIntValue(u"parsed", 99), number);
    }
    registry.setStrValue(u"number", u"now a text");
    EXPECT_EQ(registry.getStrValue(u"number"), u"now a text");

    setRaw(u"unended", REG_SZ, std::string_view("a\0b", 3));
    EXPECT_EQ(registry.getStrValue(u"unended"), u"a");
    setRaw(u"bytes", 3, std::string_view("\x01\0\x02", 3));
    EXPECT_EQ(
        thrownBy([&] { registry.getStrValue(u"bytes"); }, u"Registry key <bytes> is not of REG_SZ or REG_DWORD type."),
        "NorqObjectNotFoundException 0");
    EXPECT_EQ(thrownBy([&] { registry.getIntValue(u"bytes", 1); }), "NorqObjectNotFoundException 0");
}

TEST_F(NorqRegistryTest, ListsKeysAndValues) {
    EXPECT_EQ(registry.getKeys(), Names());
    EXPECT_EQ(registry.getKeysWithValue(), Names());
    bool existed = true;
    NorqRegistry below;
    for (const WChar* path : {u"Software\\Norq\\b", u"Software\\Norq\\A\\deep", u"SOFTWARE\\norq\\a"})
        below.createKey(existed, HKEY_CURRENT_USER, path, KEY_READ, 0);
    EXPECT_TRUE(existed);
    EXPECT_EQ(registry.getKeys(), (Names{u"A", u"b"}));

    registry.setStrValue(u"Zed", u"z");
    registry.setStrValue(u"empty", u"");
    registry.setIntValue(u"number", 5);
    setRaw(u"bytes", 3, "xy");
    setRaw(u"short", REG_SZ, "x");
    registry.setStrValue(u"ZED", u"again");
    const DebugCapture debug;
    EXPECT_EQ(registry.getKeysWithValue(), (Names{u"bytes", u"number", u"Zed"}));
    EXPECT_EQ(debug.count(u"Key <empty> has no value."), 1u);
    EXPECT_EQ(registry.getKeyValues(),
              (std::vector<NorqRegistry::KeyValue>{
                  {u"bytes", u""}, {u"empty", u""}, {u"number", u"5"}, {u"short", u""}, {u"Zed", u"again"}}));
}

TEST_F(NorqRegistryTest, NamesIgnoreCaseAndKeepIt) {
    const std::pair<const WChar*, const WChar*> same[] = {{u"Straße", u"STRAßE"},
                                                          {u"ÄÖÜ é", u"äöü É"},
                                                          {u"Σίσυφος", u"σίσυφοσ"},
                                                          {u"\U00010400", u"\U00010428"},
                                                          {u"lone \xDC00 X", u"LONE \xDC00 x"}};
    for (const auto& [name, other] : same) {
        registry.setStrValue(name, name);
        EXPECT_EQ(registry.getStrValue(other), name);
    }
    EXPECT_EQ(registry.getKeysWithValue().size(), std::size(same));
    registry.setStrValue(u"İ", u"");
    EXPECT_EQ(thrownBy([&] { registry.getStrValue(u"i"); }), "NorqObjectNotFoundException 2");
}

TEST_F(NorqRegistryTest, EachFailureHasItsException) {
    struct Row {
        std::int32_t code;
        const char* exception;
        const WChar* message;
    };
    const Row rows[] = {{2, "NorqObjectNotFoundException 2", u"Doing. Object not found: <2"},
                        {3, "NorqObjectNotFoundException 3", u"Doing. Object not found: <3"},
                        {5, "NorqAccessException 5", u"Doing. Access denied: <5"},
                        {12, "NorqAccessException 12", u"Doing. Access denied: <12"},
                        {19, "NorqAccessException 19", u"Doing. Access denied: <19"},
                        {6, "NorqIllegalArgumentException 6", u"Doing. Invalid argument: <6"},
                        {87, "NorqIllegalArgumentException 87", u"Doing. Invalid argument: <87"},
                        {160, "NorqIllegalArgumentException 160", u"Doing. Invalid argument: <160"},
                        {161, "NorqIllegalArgumentException 161", u"Doing. Invalid argument: <161"},
                        {234, "NorqException 234", u"Doing. More data is available than can fit in buffer: <234"},
                        {1018, "NorqIllegalStateException 1018", u"Doing. Illegal state: <1018"},
                        {1015, "NorqUnknownException 1015", u"Doing. Unknown error: <1015"}};
    for (const Row& row : rows) {
        const DebugCapture debug;
        EXPECT_EQ(thrownBy([&] { NorqRegistry::convertWinErrToException(u"f", row.code, u"Doing."); }, row.message),
                  row.exception);
        EXPECT_EQ(debug.count(row.message), 1u);
    }
    EXPECT_EQ(thrownBy([] { NorqRegistry::convertWinErrToException(u"f", 0, u"Doing."); }), "nothing");
}

TEST_F(NorqRegistryTest, BadCallsAreRefused) {
    NorqRegistry other;
    bool existed = false;
    const WString longName(256, u'n');
    const std::pair<std::function<void()>, const char*> calls[] = {
        {[&] { other.getKeys(); }, "NorqIllegalStateException 0"},
        {[&] { other.getStrValue(u"x"); }, "NorqIllegalStateException 0"},
        {[&] { registry.setIntValue(u"", 1); }, "NorqIllegalArgumentException 0"},
        {[&] { other.openKey(0, u"Software", KEY_READ); }, "NorqIllegalArgumentException 0"},
        {[&] { other.openKey(5, u"Software", KEY_READ); }, "NorqIllegalArgumentException 6"},
        {[&] { other.openKey(HKEY_CURRENT_USER, u"Missing", KEY_READ); }, "NorqObjectNotFoundException 2"},
        {[&] { other.openKey(HKEY_CURRENT_USER, u"\\Software", KEY_READ); }, "NorqIllegalArgumentException 161"},
        {[&] { other.openKey(HKEY_CURRENT_USER, u"a\\\\b", KEY_READ); }, "NorqIllegalArgumentException 161"},
        {[&] { other.createKey(existed, HKEY_CURRENT_USER, longName, KEY_READ, 0); },
         "NorqIllegalArgumentException 87"},
        {[&] { other.createKey(existed, HKEY_CURRENT_USER, u"x", KEY_READ, 1); }, "NorqIllegalArgumentException 87"},
        {[&] { registry.setStrValue(WString(16384, u'n'), u""); }, "NorqIllegalArgumentException 87"},
        {[&] { registry.getStrValue(WString(u"a\0b", 3)); }, "NorqIllegalArgumentException 87"},
        {[&] { registry.deleteValue(u"missing"); }, "NorqObjectNotFoundException 2"},
        {[&] { registry.deleteKey(HKEY_CURRENT_USER, u"Missing\\x"); }, "NorqObjectNotFoundException 2"},
        {[&] { registry.deleteKey(HKEY_CURRENT_USER, u""); }, "NorqIllegalArgumentException 0"}};
    for (const auto& [call, exception] : calls)
        EXPECT_EQ(thrownBy(call), exception) << &call - &calls[0].first;
    EXPECT_FALSE(other.isHandleOpen());
    EXPECT_EQ(thrownBy([&] { registry.getStrValue(u"gone"); }, u"Get registry key <gone> under path <Software\\Norq>"),
              "NorqObjectNotFoundException 2");

    // A key serves for what it was opened for.
    other.openKey(HKEY_CURRENT_USER, u"Software\\", KEY_READ);
    EXPECT_EQ(thrownBy([&] { other.setIntValue(u"x", 1); }), "NorqAccessException 5");
    other.openKey(HKEY_CURRENT_USER, u"Software", KEY_WRITE);
    EXPECT_EQ(thrownBy([&] { other.getKeys(); }), "NorqAccessException 5");
}

TEST_F(NorqRegistryTest, LimitsAreThoseOfTheBuffers) {
    const WString name(80, u'n');
    const WString text(8192, u't');
    registry.setStrValue(name, text);
    EXPECT_EQ(registry.getStrValue(name), text);
    EXPECT_EQ(registry.getKeyValues(), (std::vector<NorqRegistry::KeyValue>{{name, text}}));

    registry.setStrValue(name + u"x", text + u"x");
    EXPECT_EQ(thrownBy([&] { registry.getStrValue(name + u"x"); }), "NorqException 234");
    EXPECT_EQ(thrownBy([&] { registry.getIntValue(name + u"x", 1); }), "NorqException 234");
    const DebugCapture debug;
    EXPECT_EQ(registry.getKeyValues(), (std::vector<NorqRegistry::KeyValue>{{name, text}, {name, text}}));
    bool existed = false;
    NorqRegistry().createKey(existed, HKEY_CURRENT_USER, registry.getPath() + u"\\" + WString(255, u'k'), KEY_READ, 0);
    EXPECT_EQ(registry.getKeys(), Names{WString(80, u'k')});
    EXPECT_EQ(debug.count(u"Truncated name or value."), 1u);
    EXPECT_EQ(debug.count(u"Truncated name."), 1u);

    WString deep = u"d";
    for (std::size_t depth = 1; depth < platform::MostKeyDepth; ++depth)
        deep += u"\\d";
    NorqRegistry other;
    other.createKey(existed, HKEY_CURRENT_USER, deep, KEY_ALL_ACCESS, 0);
    EXPECT_EQ(thrownBy([&] { other.createKey(existed, HKEY_CURRENT_USER, deep + u"\\d", KEY_READ, 0); }),
              "NorqIllegalArgumentException 87");
    registry.deleteKey(HKEY_CURRENT_USER, u"d");
    EXPECT_EQ(thrownBy([&] { other.setIntValue(u"x", 1); }), "NorqIllegalStateException 1018");
}

TEST_F(NorqRegistryTest, ARemovedKeyIsGoneForAllWhoHaveItOpen) {
    NorqRegistry other;
    other.openKey(HKEY_CURRENT_USER, u"software\\NORQ", KEY_ALL_ACCESS);
    other.setStrValue(u"value", u"text");
    registry.deleteKey(HKEY_CURRENT_USER, u"Software");
    const std::function<void()> calls[] = {[&] { other.getStrValue(u"value"); },
                                           [&] { other.setStrValue(u"value", u"x"); }, [&] { other.getKeys(); },
                                           [&] { other.getKeyValues(); }, [&] { other.deleteValue(u"value"); }};
    for (const auto& call : calls)
        EXPECT_EQ(thrownBy(call), "NorqIllegalStateException 1018");
    EXPECT_EQ(thrownBy([&] { other.openKey(HKEY_CURRENT_USER, u"Software\\Norq", KEY_READ); }),
              "NorqObjectNotFoundException 2");
    // The same path leads to another key then.
    bool existed = true;
    registry.createKey(existed, HKEY_CURRENT_USER, u"Software\\Norq", KEY_ALL_ACCESS, 0);
    EXPECT_FALSE(existed);
    EXPECT_EQ(registry.getKeysWithValue(), Names());
    EXPECT_EQ(thrownBy([&] { other.getKeys(); }), "NorqIllegalStateException 1018");
}

TEST_F(NorqRegistryTest, CopiesShareTheKeyUntilTheLastCloses) {
    NorqRegistry copy(registry);
    EXPECT_EQ(copy.getPath(), u"Software\\Norq");
    EXPECT_EQ(copy.toString(), registry.toString());
    registry.closeKey();
    registry.closeKey();
    EXPECT_EQ(registry.toString(), u"NorqRegistry{registryHandle=0,path='Software\\Norq'}");
    copy.setStrValue(u"still", u"open");
    registry = copy;
    {
        const AutoCloseRegistry scope(copy, HKEY_CURRENT_USER, u"", KEY_READ);
        EXPECT_EQ(copy.getKeys(), Names{u"Software"});
    }
    EXPECT_FALSE(copy.isHandleOpen());
    EXPECT_EQ(registry.getStrValue(u"still"), u"open");
    EXPECT_THROW(AutoCloseRegistry(copy, HKEY_LOCAL_MACHINE, u"nothing", KEY_READ), NorqObjectNotFoundException);
}

} // namespace

#include "FileRoots.h"
#include "support/Actor.h"
#include "support/DebugCapture.h"
#include "support/FileCalls.h"
#include "support/Files.h"

#include "base/UtfUtils.h"
#include "config/ConfigurationFile.h"
#include "exception/NorqException.h"
#include "file/LockedFile.h"
#include "prefs/FilePreferences.h"
#include "prefs/FilePreferencesFactory.h"
#include "prefs/PreferenceChangeEvent.h"
#include "prefs/PreferenceChangeListener.h"
#include "prefs/PreferenceChangeNotifier.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace norq_std;
using norqstd_test::DebugCapture;
using norqstd_test::FileRoots;
using norqstd_test::got;
namespace fs = std::filesystem;

namespace {

/// Each test has a node of its own, and what others know of its folder.
class FilePreferencesTest : public ::testing::Test {
protected:
    FilePreferencesTest()
        : name(::testing::UnitTest::GetInstance()->current_test_info()->name())
        , folder(FileRoots::get().user() / name)
        , file(folder / "prefs.cfg")
        , node(FilePreferencesFactory().userRoot()->node(UtfUtils::utf8ToUtf16(name))) {}
    ~FilePreferencesTest() override {
        try {
            node->removeNode();
        } catch (const NorqIllegalStateException&) { // the test did it
        }
    }

    /// As another process does it.
    void writeByOther(const std::string& text) const {
        std::ofstream(folder / "new", std::ios::binary) << text;
        fs::rename(folder / "new", file);
    }

    const std::string name;
    const fs::path folder;
    const fs::path file;
    const std::shared_ptr<Preferences> node;
};

class Listener : public PreferenceChangeListener, public norqstd_test::Reports {
public:
    void preferenceChange(const std::shared_ptr<PreferenceChangeEvent>& event) override {
        reportAndRun(UtfUtils::utf16ToUtf8(event->getKey() + u"=" + event->getNewValue()));
    }
};

} // namespace

TEST_F(FilePreferencesTest, ShowsWhatWasPutOnceThereIsAFile) {
    node->put(u"key", u"value");
    node->put(u"empty", u"");
    node->put(u"a=b #\\", u"  leading");
    EXPECT_EQ(node->get(u"key", u"default"), u"default");
    EXPECT_TRUE(node->keys().empty());
    EXPECT_FALSE(fs::exists(file));
    node->flush();
    EXPECT_EQ(got(file), "key=value\r\nempty=\r\na\\=b \\#\\\\=  leading\r\n");
    EXPECT_EQ(node->get(u"key", u"default"), u"value");
    EXPECT_EQ(node->get(u"empty", u"default"), u"");
    EXPECT_EQ(node->keys(), (std::vector<WString>{u"key", u"a=b #\\"}));
    node->put(u"key", u"changed");
    EXPECT_EQ(node->get(u"key", u"default"), u"changed");
    node->remove(u"key");
    node->remove(u"absent");
    EXPECT_EQ(node->get(u"key", u"default"), u"default");
    node->flush();
    EXPECT_EQ(got(file).find("key"), std::string::npos);
    fs::remove(file);
    EXPECT_EQ(node->get(u"empty", u"default"), u"default");
}

TEST_F(FilePreferencesTest, LaysNodesOutAsDirectories) {
    const auto deep = node->node(u"a/b");
    EXPECT_TRUE(fs::is_directory(folder / "a" / "b"));
    fs::create_directories(folder / "other" / "one");
    norqstd_test::put(folder / "a file", "");
    EXPECT_EQ(node->childrenNames(), (std::vector<WString>{u"a", u"other"}));
    EXPECT_TRUE(node->nodeExists(u"other/one"));
    EXPECT_TRUE(node->nodeExists(u"a\\b"));
    EXPECT_FALSE(node->nodeExists(u"b"));
    deep->put(u"k", u"v");
    node->flush();
    EXPECT_EQ(got(folder / "a" / "b" / "prefs.cfg"), "k=v\r\n");
    EXPECT_FALSE(fs::exists(folder / "other" / "prefs.cfg"));
    node->node(u"a")->removeNode();
    EXPECT_FALSE(fs::exists(folder / "a"));

    const auto system = FilePreferencesFactory().systemRoot();
    EXPECT_EQ(system->node(u"s")->buildListenerPath(), u"SYSTEM_ROOT/s");
    EXPECT_TRUE(fs::is_directory(FileRoots::get().system() / "s"));
    EXPECT_EQ(deep->buildListenerPath(), u"USER_ROOT/LaysNodesOutAsDirectories/a/b");
}

TEST_F(FilePreferencesTest, RefusesNamesAndTextsThatLeadElsewhere) {
    norqstd_test::put(file, "k=v\n");
    for (const char16_t* bad : {u"..", u".", u"a\\..", u"..\\..\\etc", u"prefs.cfg", u"c:", u"a*", u"a.", u"\\a"}) {
        SCOPED_TRACE(UtfUtils::utf16ToUtf8(bad));
        EXPECT_THROW(node->node(bad + WString(u"/b")), NorqIllegalArgumentException);
        EXPECT_FALSE(node->nodeExists(bad));
    }
    EXPECT_EQ(got(file), "k=v\n");
    for (const char16_t* bad : {u"a\nb=c", u"a\rb"}) {
        EXPECT_THROW(node->put(u"k", bad), NorqIllegalArgumentException);
        EXPECT_THROW(node->put(bad, u"v"), NorqIllegalArgumentException);
    }
    EXPECT_THROW(node->put(u"k", WString(u"a\0b", 3)), NorqIllegalArgumentException);
    EXPECT_THROW(node->put(u"  ", u"v"), NorqIllegalArgumentException);
    WString path = u"x";
    for (int level = 0; level < 200; ++level)
        path += u"/x";
    EXPECT_THROW(node->node(path), NorqIllegalArgumentException); // longer than a path may be
}

TEST_F(FilePreferencesTest, SyncMergesAndMemoryWins) {
    node->put(u"both", u"mine");
    node->put(u"mine", u"1");
    writeByOther("both=theirs\ntheirs=2\n");
    node->flush(); // has not seen the file
    EXPECT_EQ(got(file), "both=mine\r\nmine=1\r\ntheirs=2\r\n");
    writeByOther("later=3\n");
    node->remove(u"theirs");
    node->sync();
    EXPECT_EQ(node->get(u"later", u""), u"3");
    EXPECT_EQ(node->get(u"both", u""), u"mine");
    writeByOther("theirs=2\n");
    node->sync();
    EXPECT_EQ(node->get(u"theirs", u""), u"2") << "a removed key is back after a merge";
    writeByOther("unseen=4\n");
    node->flush();
    EXPECT_EQ(got(file).find("unseen"), std::string::npos) << "a flush writes what is in memory";
}

TEST_F(FilePreferencesTest, KeepsCommentsOfAFileThatItLoaded) {
    fs::create_directories(folder / "child");
    norqstd_test::put(folder / "child" / "prefs.cfg", "# note\nk=v\n[other]\nx=y\n");
    const auto child = node->node(u"child");
    EXPECT_EQ(child->keys(), std::vector<WString>{u"k"});
    child->put(u"k", u"w");
    child->sync();
    EXPECT_EQ(got(folder / "child" / "prefs.cfg"), "# note\nk=w\n[other]\nx=y\n");
}

TEST_F(FilePreferencesTest, AFileThatIsHeldIsWaitedFor) {
    node->put(u"k", u"v");
    node->flush();
    LockedFile held;
    held.open(norqstd_test::at(file), LockedFile::Read, nullptr);
    norqstd_test::Actor other;
    node->put(u"k", u"w");
    auto flushed = other.begin([this] { node->flush(); });
    EXPECT_FALSE(norqstd_test::isReady(flushed));
    held.close();
    ASSERT_TRUE(norqstd_test::becomesReady(flushed));
    flushed.get();
    EXPECT_EQ(got(file), "k=w\r\n");
}

TEST_F(FilePreferencesTest, TellsOfAStoreThatFails) {
    norqstd_test::put(folder / "blocked", "a file");
    DebugCapture debug;
    const auto blocked = node->node(u"blocked/child")->parent();
    EXPECT_EQ(debug.count(u"Unable to create directory <"), 1U);
    blocked->put(u"k", u"v");
    try {
        node->flush();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const NorqBackingStoreException& failure) {
        EXPECT_TRUE(failure.getMessage().starts_with(u"Unable to save Preferences information for C:\\"));
        EXPECT_TRUE(failure.getMessage().find(u"\\blocked\\prefs.cfg: ") != WString::npos);
    }
    EXPECT_EQ(blocked->get(u"k", u"default"), u"default");
    blocked->removeNode();
    EXPECT_EQ(got(folder / "blocked"), "a file");
    fs::create_directories(folder / "b" / "prefs.cfg");
    EXPECT_THROW(node->node(u"b")->sync(), NorqBackingStoreException);
}

TEST_F(FilePreferencesTest, TellsListenersOfEachChangedKey) {
    node->put(u"a", u"1");
    node->put(u"b", u"2");
    node->flush();
    const auto listener = std::make_shared<Listener>();
    EXPECT_THROW(node->addPreferenceChangeListener(nullptr), NorqIllegalArgumentException);
    node->addPreferenceChangeListener(listener);
    node->addPreferenceChangeListener(listener);
    writeByOther("a=other\nc=3\n[section]\nx=y\n");
    EXPECT_EQ(listener->until("c=3"), (std::vector<std::string>{"a=other", "b=2"}));
    EXPECT_EQ(node->get(u"a", u""), u"other");
    node->put(u"d", u"here");
    node->remove(u"c");
    EXPECT_EQ(listener->until("c="), std::vector<std::string>{"d=here"});
    node->removePreferenceChangeListener(std::make_shared<Listener>()); // takes nothing from the other
    writeByOther("a=again\nd=here\n");
    EXPECT_EQ(listener->next(), "a=again");
    node->removeNode();
    EXPECT_EQ(listener->until("d=here"), std::vector<std::string>{"a=again"});
    EXPECT_THROW(node->removePreferenceChangeListener(listener), NorqIllegalStateException);
    EXPECT_EQ(PreferenceChangeNotifier::getInstance().getNumberOfListeners(node->buildListenerPath()), 0U);
}

TEST_F(FilePreferencesTest, AChangeOfTheFileUndoesNothingThatWasPut) {
    const auto listener = std::make_shared<Listener>();
    node->addPreferenceChangeListener(listener);
    node->put(u"unsaved", u"1");
    node->put(u"both", u"mine");
    node->remove(u"gone");
    listener->until("both=mine");
    writeByOther("other=2\nboth=theirs\ngone=1\n");
    EXPECT_EQ(listener->until("other=2"), std::vector<std::string>());
    EXPECT_TRUE(norqstd_test::eventually([this] { return node->get(u"unsaved", u"") == u"1"; }));
    node->flush();
    EXPECT_EQ(node->get(u"both", u""), u"mine");
    EXPECT_EQ(node->get(u"gone", u""), u"");
    for (const char* line : {"\nunsaved=1\n", "\nother=2\n", "\nboth=mine\n"})
        EXPECT_NE(("\n" + got(file)).find(line), std::string::npos) << line;
    node->removePreferenceChangeListener(listener);
    writeByOther("other=3\n");
    node->sync();
    EXPECT_EQ(node->get(u"other", u""), u"2");
}

TEST_F(FilePreferencesTest, SurvivesRemovalWhileTheFileChanges) {
    std::atomic<bool> ends{false};
    norqstd_test::Actor writer;
    const auto writing = writer.begin([&] {
        for (int value = 0; !ends; ++value) {
            std::error_code gone;
            fs::create_directories(folder / "n", gone);
            std::ofstream(folder / "new", std::ios::binary) << "k=" << value << "\n";
            fs::rename(folder / "new", folder / "n" / "prefs.cfg", gone);
        }
    });
    const auto listener = std::make_shared<Listener>();
    for (std::size_t round = 0; round < norqstd_test::rounds(300); ++round) {
        const auto changing = node->node(u"n");
        changing->addPreferenceChangeListener(listener);
        changing->putInt(u"own", static_cast<std::int32_t>(round));
        if (round % 4 == 0) {
            EXPECT_NE(listener->next(), "nothing");
        }
        if (round % 3 == 0)
            changing->removePreferenceChangeListener(listener);
        try {
            changing->removeNode();
        } catch (const NorqBackingStoreException&) { // the writer was quicker
        }
    }
    ends = true;
    EXPECT_TRUE(norqstd_test::becomesReady(writing));
}

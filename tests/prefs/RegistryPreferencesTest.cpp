#include "base/Class.h"
#include "exception/NorqException.h"
#include "prefs/RegistryPreferencesFactory.h"
#include "prefs/RegistrySupport.h"
#include "stream/ByteArray.h"
#include "support/Actor.h"
#include "support/DebugCapture.h"
#include "windows/NorqRegistry.h"

#include <array>
#include <chrono>
#include <thread>
#include <vector>

#include <sqlite3.h>

using namespace norq_std;
using norqstd_test::OtherProcess;

namespace {

using RegistryPreferencesTest = norqstd_test::RegistryTest;

WString number(std::size_t n) { return norqstd_test::wide(std::to_string(n)); }

WString messageOf(const std::function<void()>& body) {
    try {
        body();
    } catch (const NorqBackingStoreException& e) {
        return e.getMessage();
    }
    return u"nothing thrown";
}

TEST_F(RegistryPreferencesTest, NumbersReadAsText) {
    node->putInt(u"n", -7);
    EXPECT_EQ(node->getInt(u"n", 1), -7);
    EXPECT_EQ(node->get(u"n", u"?"), u"-7");
    EXPECT_EQ(node->getLongLong(u"n", 1), -7);
    EXPECT_TRUE(node->getBoolean(u"n", true));
    node->put(u"n", u"12abc");
    EXPECT_EQ(node->getInt(u"n", 1), 12);
    node->put(u"n", u"abc");
    EXPECT_EQ(node->getInt(u"n", 1), 1);
    EXPECT_EQ(node->getInt(u"absent", 5), 5);
    EXPECT_EQ(node->get(u"absent", u"?"), u"?");

    NorqRegistry registry;
    registry.openKey(HKEY_CURRENT_USER, name, KEY_READ);
    node->putInt(u"n", 0x7FFFFFFF);
    EXPECT_EQ(registry.getStrValue(u"n"), u"2147483647");
}

TEST_F(RegistryPreferencesTest, KeepsTextsUpToTheLimits) {
    const WString longest = WString(8190, u'\u20AC') + u"\U0001F600";
    const WString longestKey(80, u'k');
    node->put(longestKey, longest);
    node->put(u"empty", u"");
    node->put(u"a\\b/c", u"x\r\ny");
    EXPECT_EQ(node->get(longestKey, u"?"), longest);
    EXPECT_EQ(node->get(u"empty", u"?"), u"");
    EXPECT_EQ(node->get(u"A\\B/C", u"?"), u"x\r\ny");
    EXPECT_EQ(node->keys(), (std::vector<WString>{u"a\\b/c", longestKey})); // those with a value
    EXPECT_THROW(node->putInt(longestKey + u"k", 1), NorqIllegalArgumentException);
    EXPECT_THROW(node->putInt(u"", 1), NorqIllegalArgumentException);
    EXPECT_THROW(static_cast<void>(node->getInt(longestKey + u"k", 1)), NorqIllegalArgumentException);
    node->remove(u"empty");
    node->remove(u"empty");
    EXPECT_EQ(node->get(u"empty", u"?"), u"?");
    node->clear();
    EXPECT_TRUE(node->keys().empty());
}

TEST_F(RegistryPreferencesTest, NodesAreKeys) {
    const auto deep = node->node(u"a\\b")->node(u"c");
    EXPECT_EQ(deep->absolutePath(), u"/" + name + u"/a/b/c");
    EXPECT_EQ(deep->buildListenerPath(), u"HKEY_CURRENT_USER\\" + name + u"\\a\\b\\c");
    EXPECT_EQ(RegistryPreferences::getSystemRoot()->buildListenerPath(), u"HKEY_LOCAL_MACHINE\\");
    NorqRegistry registry;
    registry.openKey(HKEY_CURRENT_USER, name + u"\\a\\b", KEY_READ);
    EXPECT_EQ(registry.getKeys(), std::vector<WString>{u"c"});
    bool existed = true;
    registry.createKey(existed, HKEY_CURRENT_USER, name + u"\\a\\made outside", KEY_WRITE, 0);
    EXPECT_FALSE(existed);
    EXPECT_EQ(node->node(u"a")->childrenNames(), (std::vector<WString>{u"b", u"made outside"}));
    EXPECT_TRUE(user()->nodeExists(name + u"/A/B"));
    EXPECT_FALSE(node->nodeExists(u"b"));
    node->node(u"a")->removeNode();
    EXPECT_FALSE(node->nodeExists(u"a/b"));
    EXPECT_THROW(static_cast<void>(deep->get(u"x", u"")), NorqIllegalStateException);
    EXPECT_THROW(deep->addPreferenceChangeListener(std::make_shared<norqstd_test::Heard>()), NorqIllegalStateException);
    EXPECT_THROW(user()->removeNode(), NorqIllegalArgumentException);
}

TEST_F(RegistryPreferencesTest, ANodeWhoseKeyHasGoneSaysSo) {
    NorqRegistry().deleteKey(HKEY_CURRENT_USER, name);
    node->put(u"k", u"v");
    node->putInt(u"k", 1);
    node->remove(u"k");
    EXPECT_EQ(node->get(u"k", u"?"), u"?");
    const WString gone = u" Object not found: <";
    const std::array<std::pair<std::function<void()>, WString>, 2> rows{
        {{[this] { static_cast<void>(node->keys()); }, u"Failed to get keys."},
         {[this] { static_cast<void>(node->childrenNames()); }, u"Failed to get children names."}}};
    for (const auto& [body, text] : rows) {
        const WString message = messageOf(body);
        EXPECT_EQ(message.substr(0, text.size() + 2), text + u": ");
        EXPECT_NE(message.find(gone), WString::npos);
    }
}

// As a path, such a name leads elsewhere: an export that followed it would make keys, or come back to the root.
TEST_F(RegistryPreferencesTest, KeysThatCannotBeNodesAreNoChildren) {
    const WString longest(80, u'n');
    for (const WString& below :
         {WString(u"/"), WString(u"x/y"), WString(u"/x"), longest + u"n", u"m" + longest, longest}) {
        bool existed = true;
        NorqRegistry().createKey(existed, HKEY_CURRENT_USER, name + u"\\" + below, KEY_WRITE, 0);
        EXPECT_FALSE(existed);
    }
    EXPECT_EQ(node->childrenNames(), std::vector<WString>{longest});
    const std::filesystem::path file = hives() / "exported.xml";
    node->exportSubtree(norqstd_test::wide(file.string()));
    NorqRegistry registry;
    registry.openKey(HKEY_CURRENT_USER, name, KEY_READ);
    EXPECT_EQ(registry.getKeys().size(), 6U);
    EXPECT_EQ(norqstd_test::got(file).find("x/y"), std::string::npos);
}

// Neither that another process was quicker nor that two nodes stand for one key keeps a branch from being removed.
TEST_F(RegistryPreferencesTest, ABranchIsRemovedThoughKeysOfItHaveGone) {
    const auto first = node->node(u"App");
    static_cast<void>(node->node(u"app"));
    static_cast<void>(node->node(u"gone/below"));
    NorqRegistry().deleteKey(HKEY_CURRENT_USER, name + u"\\gone");
    node->removeNode();
    EXPECT_FALSE(user()->nodeExists(name));
    EXPECT_NE(user()->node(name)->node(u"App"), first);
}

TEST_F(RegistryPreferencesTest, AMachineHiveThatCannotBeWrittenIsReadAsDefaults) {
    OtherProcess process([] {
        ::setenv("NORQSTD_REGISTRY_MACHINE", "/proc/none", 1);
        const auto its = RegistryPreferences::getSystemRoot()->node(u"a/b");
        its->put(u"k", u"v");
        its->putInt(u"n", 1);
        if (its->get(u"k", u"?") != u"?" || its->getInt(u"n", 2) != 2 || its->nodeExists(u"c"))
            return 8;
        ::setenv("NORQSTD_REGISTRY_MACHINE", (hives() / "damaged").c_str(), 1);
        std::filesystem::create_directory(hives() / "damaged");
        norqstd_test::put(hives() / "damaged" / "machine.db", "no database");
        return messageOf([&its] { its->removeNode(); }).starts_with(u"Failed to remove node.: ") ? 7 : 9;
    });
    EXPECT_EQ(process.run(), 7);
}

TEST_F(RegistryPreferencesTest, IsTheDefaultFactory) {
    EXPECT_EQ(Preferences::userRoot(), RegistryPreferences::getUserRoot());
    EXPECT_EQ(Preferences::systemRoot(), RegistryPreferencesFactory().systemRoot());
    EXPECT_TRUE(node->isUserNode());
    EXPECT_EQ(RegistryPreferences::getSystemRoot()->node(name)->toString(), u"System Preference Node: /" + name);
}

TEST_F(RegistryPreferencesTest, AWriteThatWaitsKeepsNobodyElseWaiting) {
    const auto other = node->node(u"other");
    const auto machine = RegistryPreferences::getSystemRoot()->node(name);
    other->put(u"k", u"v");
    machine->put(u"k", u"v");
    sqlite3* writer = nullptr; // as another process
    ASSERT_EQ(sqlite3_open((hives() / "user" / "user.db").c_str(), &writer), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(writer, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    norqstd_test::Actor waiting;
    norqstd_test::Actor reading;
    {
        const norqstd_test::DebugCapture lines(CALL);
        const auto written = waiting.begin([this] { node->put(u"k", u"w"); });
        // The key is open, and the value on its way.
        EXPECT_TRUE(norqstd_test::eventually([&] { return lines.count(u"Begin.") >= 2; }));
        const auto read = reading.begin([&] { machine->put(u"k", machine->get(u"k", u"?") + other->get(u"k", u"?")); });
        EXPECT_TRUE(norqstd_test::becomesReady(read));
        EXPECT_FALSE(norqstd_test::isReady(written));
        EXPECT_EQ(sqlite3_close(writer), SQLITE_OK);
        EXPECT_TRUE(norqstd_test::becomesReady(written));
    }
    EXPECT_EQ(machine->get(u"k", u"?"), u"vv");
    EXPECT_EQ(node->get(u"k", u"?"), u"w");
    machine->removeNode();
}

// What one node has open must never serve another.
TEST_F(RegistryPreferencesTest, ThreadsOnDifferentNodesDoNotMixTheirKeys) {
    std::vector<std::thread> threads;
    std::atomic<int> mixed{0};
    for (std::size_t t = 0; t < 4; ++t)
        threads.emplace_back([this, t, &mixed] {
            const auto own = node->node(number(t));
            for (std::size_t i = 0; i < norqstd_test::rounds(100); ++i) {
                own->put(u"k", number(t) + u" " + number(i));
                own->putInt(u"n", static_cast<std::int32_t>(t));
                mixed += own->get(u"k", u"?") != number(t) + u" " + number(i);
                mixed += own->getInt(u"n", -1) != static_cast<std::int32_t>(t);
                mixed += own->keys().size() != 2;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mixed, 0);
}

TEST_F(RegistryPreferencesTest, TwoProcessesPutDifferentKeysAndLoseNone) {
    const std::size_t count = norqstd_test::rounds(300);
    const auto writer = [this, count](const WString& prefix) {
        return [this, count, prefix] {
            for (std::size_t i = 0; i < count; ++i)
                node->put(prefix + number(i), prefix);
            return 0;
        };
    };
    OtherProcess a(writer(u"a"));
    OtherProcess b(writer(u"b"));
    a.go();
    b.go();
    EXPECT_EQ(a.finish(), 0);
    EXPECT_EQ(b.finish(), 0);
    EXPECT_EQ(node->keys().size(), 2 * count);
}

/// How many writers are killed: NORQSTD_TEST_KILL_ROUNDS, or a few.
std::size_t killRounds() {
    const char* const set = std::getenv("NORQSTD_TEST_KILL_ROUNDS");
    return set == nullptr ? norqstd_test::rounds(10) : std::strtoul(set, nullptr, 10);
}

// The writer tells each number once it is put: what it told is in the store, and never half of a value.
TEST_F(RegistryPreferencesTest, AWriterThatIsKilledLeavesWhatItHasPut) {
    for (std::size_t round = 0; round < killRounds(); ++round) {
        int ends[2] = {-1, -1};
        ASSERT_EQ(::pipe(ends), 0);
        OtherProcess writer([this, &ends] {
            for (std::uint32_t i = 1;; ++i) {
                node->put(u"text", WString(1 + i % 4000, static_cast<WChar>(u'a' + i % 26)));
                node->putInt(u"count", static_cast<std::int32_t>(i));
                if (::write(ends[1], &i, sizeof i) != sizeof i)
                    return 1;
            }
        });
        writer.go();
        std::uint32_t told = 0;
        for (std::size_t i = 0; i <= round % 7; ++i) // killed at another point each time
            ASSERT_EQ(::read(ends[0], &told, sizeof told), static_cast<ssize_t>(sizeof told));
        std::this_thread::sleep_for(std::chrono::microseconds(round * 137 % 3000));
        writer.kill();
        EXPECT_EQ(writer.finish(), -SIGKILL);
        ::close(ends[1]);
        while (::read(ends[0], &told, sizeof told) == static_cast<ssize_t>(sizeof told)) {
        }
        ::close(ends[0]);

        const auto count = static_cast<std::uint32_t>(node->getInt(u"count", -1));
        EXPECT_TRUE(count == told || count == told + 1) << count << " after " << told;
        const WString text = node->get(u"text", u"");
        const auto isOf = [&text](std::uint32_t i) {
            return text == WString(1 + i % 4000, static_cast<WChar>(u'a' + i % 26));
        };
        EXPECT_TRUE(isOf(count) || isOf(count + 1));
    }
}

} // namespace

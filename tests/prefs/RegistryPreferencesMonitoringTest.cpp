#include "exception/NorqException.h"
#include "platform/DebugOutput.h"
#include "prefs/RegistryChangeNotifier.h"
#include "prefs/RegistrySupport.h"
#include "support/Actor.h"
#include "support/DebugCapture.h"
#include "support/Rerun.h"
#include "windows/NorqRegistry.h"

#include <functional>
#include <set>
#include <thread>
#include <vector>

#include <sys/resource.h>

using namespace norq_std;
using norqstd_test::Heard;
using norqstd_test::OtherProcess;

namespace {

using Texts = std::vector<std::string>;

class RegistryPreferencesMonitoringTest : public norqstd_test::RegistryTest {
protected:
    void TearDown() override {
        if (listening)
            node->removePreferenceChangeListener(heard);
        RegistryTest::TearDown();
    }
    void listen() {
        node->addPreferenceChangeListener(heard);
        listening = true;
    }
    /// What the listener heard up to now: "end" is put behind it.
    Texts heardNow() {
        node->put(u"end", norqstd_test::wide(std::to_string(++ends)));
        return heard->until("end=" + std::to_string(ends));
    }
    NorqRegistry open() const {
        NorqRegistry registry;
        registry.openKey(HKEY_CURRENT_USER, name, KEY_WRITE);
        return registry;
    }

    const std::shared_ptr<Heard> heard = std::make_shared<Heard>();
    int ends = 0;
    bool listening = false;
};

TEST_F(RegistryPreferencesMonitoringTest, HearsEachChangeOnce) {
    node->put(u"known", u"before");
    node->put(u"kept", u"x");
    listen();
    const std::vector<std::pair<std::function<void()>, Texts>> rows{
        {[this] { node->put(u"a", u"1"); }, {"a=1"}},
        {[this] { node->put(u"a", u"1"); }, {}}, // the text that it has
        {[this] { node->putInt(u"a", 1); }, {}}, // and the same as a number
        {[this] { node->put(u"known", u"after"); }, {"known=after"}},
        {[this] { node->put(u"known", u""); }, {"known="}},
        {[this] { node->remove(u"known"); }, {"known="}},
        {[this] { node->remove(u"known"); }, {}},
        {[this] { node->put(u"A", u"2"); }, {"a=2"}}, // the name as it was made
        {[this] { node->put(u"\U0001F600", u"\u20AC"); }, {"\xF0\x9F\x98\x80=\xE2\x82\xAC"}},
        {[this] { node->clear(); }, {}}};
    for (const auto& [change, expected] : rows) {
        change();
        if (!expected.empty()) {
            EXPECT_EQ(heard->next(), expected.front());
        }
    }
    std::set<std::string> cleared;
    for (int i = 0; i < 3; ++i)
        cleared.insert(heard->next());
    EXPECT_EQ(cleared, (std::set<std::string>{"a=", "kept=", "\xF0\x9F\x98\x80="}));
    EXPECT_EQ(heardNow(), Texts());
}

TEST_F(RegistryPreferencesMonitoringTest, HearsNothingOfOtherKeys) {
    const auto below = node->node(u"below");
    const auto beside = user()->node(name + u" beside");
    listen();
    below->put(u"a", u"1");
    below->node(u"deeper")->put(u"b", u"2");
    beside->put(u"c", u"3");
    user()->put(u"d", u"4");
    RegistryPreferences::getSystemRoot()->node(name)->put(u"e", u"5");
    EXPECT_EQ(heardNow(), Texts());
    user()->remove(u"d");
    beside->removeNode();
    below->removeNode();
    EXPECT_EQ(heardNow(), Texts());
}

TEST_F(RegistryPreferencesMonitoringTest, HearsOfAnotherProcess) {
    OtherProcess process([this] {
        node->put(u"k", u"v");
        return 0;
    });
    listen();
    EXPECT_EQ(process.run(), 0);
    EXPECT_EQ(heard->next(), "k=v");
}

TEST_F(RegistryPreferencesMonitoringTest, ListenersOfOneNodeShareTheMonitoring) {
    const auto other = std::make_shared<Heard>();
    listen();
    node->addPreferenceChangeListener(other);
    node->put(u"a", u"1");
    EXPECT_EQ(heard->next(), "a=1");
    EXPECT_EQ(other->next(), "a=1");
    node->removePreferenceChangeListener(other);
    node->put(u"a", u"2");
    EXPECT_EQ(heardNow(), Texts{"a=2"});
    node->removePreferenceChangeListener(other); // no more there: the monitoring goes on
    node->put(u"a", u"3");
    EXPECT_EQ(heard->next(), "a=3");
    node->removePreferenceChangeListener(heard);
    node->put(u"a", u"while nobody listened");
    listen();
    node->put(u"b", u"1");
    EXPECT_EQ(heardNow(), Texts{"b=1"});
    EXPECT_THROW(node->addPreferenceChangeListener(nullptr), NorqIllegalArgumentException);
    EXPECT_THROW(node->removePreferenceChangeListener(nullptr), NorqIllegalArgumentException);
    EXPECT_THROW(user()->addPreferenceChangeListener(heard), NorqIllegalArgumentException);
}

// The listener that could not be added is not there: the second attempt begins anew, and succeeds.
TEST_F(RegistryPreferencesMonitoringTest, AKeyThatIsNotThereCannotBeMonitored) {
    NorqRegistry().deleteKey(HKEY_CURRENT_USER, name);
    EXPECT_THROW(node->addPreferenceChangeListener(heard), NorqObjectNotFoundException);
    bool existed = true;
    NorqRegistry().createKey(existed, HKEY_CURRENT_USER, name, KEY_WRITE, 0);
    listen();
    node->put(u"a", u"1");
    EXPECT_EQ(heard->next(), "a=1");
}

TEST_F(RegistryPreferencesMonitoringTest, GoesOnWhenTheKeyComesBack) {
    const auto deep = node->node(u"a/b");
    deep->put(u"gone", u"1");
    deep->put(u"same", u"1");
    deep->addPreferenceChangeListener(heard);
    for (const WString& removed : {name + u"\\a\\b", name}) {
        norqstd_test::DebugCapture lines(CALL);
        NorqRegistry().deleteKey(HKEY_CURRENT_USER, removed);
        ASSERT_TRUE(norqstd_test::eventually([&lines] { return lines.count(u"listener that is removed") != 0; }));
        bool existed = true;
        NorqRegistry registry;
        registry.createKey(existed, HKEY_CURRENT_USER, name + u"\\a\\b", KEY_WRITE, 0);
        registry.setStrValue(u"same", u"1");
        registry.setStrValue(u"new", removed);
        const std::string expected = "new=" + UtfUtils::utf16ToUtf8(removed);
        // A look between the steps tells what was missing then; the second removal takes "new" away too.
        const std::set<std::string> meanwhile{"gone=", "same=", "same=1", "new="};
        for (const std::string& text : heard->until(expected))
            EXPECT_TRUE(meanwhile.contains(text)) << text;
    }
    deep->removePreferenceChangeListener(heard);
}

TEST_F(RegistryPreferencesMonitoringTest, ARemovedNodeForgetsItsListeners) {
    const auto listener = std::make_shared<Heard>();
    const auto removed = node->node(u"x");
    removed->addPreferenceChangeListener(listener);
    removed->removeNode();
    EXPECT_THROW(removed->removePreferenceChangeListener(listener), NorqIllegalStateException);
    const auto again = node->node(u"x");
    again->addPreferenceChangeListener(heard);
    again->put(u"a", u"1");
    EXPECT_EQ(heard->until("a=1"), Texts());
    again->removePreferenceChangeListener(heard);
    listener->add("end");
    EXPECT_EQ(listener->until("end"), Texts());
}

// The sink of the log runs where the listener has read the values, and has told of none.
TEST_F(RegistryPreferencesMonitoringTest, ARemovedKeyIsNotMadeAgainByItsListener) {
    const auto removed = node->node(u"x");
    removed->addPreferenceChangeListener(heard);
    std::atomic<bool> isRemoved{false};
    norq_std_internal::platform::setDebugOutputSink([&](std::u16string_view line) {
        if (line.find(u"New Key <a>") != std::u16string_view::npos && !isRemoved) {
            removed->removeNode();
            isRemoved = true;
        }
    });
    removed->put(u"a", u"1");
    EXPECT_TRUE(norqstd_test::eventually([&] { return isRemoved.load(); }));
    norq_std_internal::platform::setDebugOutputSink({});
    listen(); // what the thread hears of this comes behind it
    EXPECT_EQ(heardNow(), Texts());
    EXPECT_FALSE(node->nodeExists(u"x"));
    EXPECT_THROW(removed->removePreferenceChangeListener(heard), NorqIllegalStateException);
}

TEST_F(RegistryPreferencesMonitoringTest, SurvivesTheReplacementOfTheDatabase) {
    if (norqstd_test::Rerun::inside()) { // with the hive in a folder of its own
        node->put(u"a", u"of another file");
        return;
    }
    node->put(u"a", u"1");
    listen();
    const std::string other = (hives() / "other").string();
    const std::string test = "RegistryPreferencesMonitoringTest.SurvivesTheReplacementOfTheDatabase";
    EXPECT_EQ(norqstd_test::Rerun(test, "NORQSTD_REGISTRY_USER=" + other + " ").errors(), "");
    std::filesystem::rename(hives() / "user", hives() / "old");
    std::filesystem::rename(other, hives() / "user");
    EXPECT_EQ(heard->next(), "a=of another file");
    node->put(u"a", u"2");
    EXPECT_EQ(heard->next(), "a=2");
}

TEST_F(RegistryPreferencesMonitoringTest, TellsWhenNoKeyCanBeAwaited) {
    node->put(u"a", u"1");
    RegistryListener listener(HKEY_CURRENT_USER, name + u"\\gone");
    EXPECT_TRUE(listener.awaitKey());
    const std::filesystem::path database = hives() / "user" / "user.db";
    std::filesystem::rename(database, hives() / "aside.db");
    EXPECT_FALSE(listener.awaitKey());
    std::filesystem::rename(hives() / "aside.db", database);
    EXPECT_TRUE(listener.awaitKey());
}

TEST_F(RegistryPreferencesMonitoringTest, OneOfAThousandMonitoredKeysChanges) {
    constexpr std::size_t Count = 1000;
    constexpr rlim_t Descriptors = 128; // a key costs none
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit few{Descriptors, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    std::vector<std::shared_ptr<Preferences>> nodes;
    std::vector<std::shared_ptr<Heard>> listeners;
    for (std::size_t i = 0; i < Count; ++i)
        nodes.push_back(node->node(norqstd_test::wide(std::to_string(i))));
    OtherProcess process([&nodes] {
        nodes[777]->put(u"k", u"v");
        return 0;
    });
    for (const auto& one : nodes) {
        listeners.push_back(std::make_shared<Heard>());
        one->addPreferenceChangeListener(listeners.back());
    }
    EXPECT_EQ(process.run(), 0);
    EXPECT_EQ(listeners[777]->next(), "k=v");
    for (std::size_t i = 0; i < Count; i += 111) { // what comes behind it is all that the others hear
        nodes[i]->put(u"end", u"");
        EXPECT_EQ(listeners[i]->until("end="), Texts());
    }
    for (std::size_t i = 0; i < Count; ++i)
        nodes[i]->removePreferenceChangeListener(listeners[i]);
    setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(RegistryPreferencesMonitoringTest, RemovalOfNodesAgainstMonitoring) {
    const norqstd_test::DebugCapture lines;
    std::atomic<bool> stop{false};
    std::atomic<int> steps{0};
    const auto repeat = [&](const std::function<void()>& step) {
        return std::thread([&stop, &steps, step] {
            while (!stop)
                try {
                    step();
                    ++steps;
                } catch (const NorqIllegalStateException&) {   // the node was removed meanwhile
                } catch (const NorqObjectNotFoundException&) { // its key was, before it could be monitored
                }
        });
    };
    std::vector<std::thread> threads;
    threads.push_back(repeat([this] { node->node(u"x/y")->put(u"k", u"v"); }));
    threads.push_back(repeat([this] { user()->node(name + u"/x/y")->putInt(u"n", 1); }));
    threads.push_back(repeat([this] {
        const auto listener = std::make_shared<Heard>();
        const auto watched = node->node(u"x/y");
        watched->addPreferenceChangeListener(listener);
        watched->put(u"k", u"w");
        watched->removePreferenceChangeListener(listener);
    }));
    for (std::size_t i = 0; i < norqstd_test::rounds(100) || steps == 0; ++i)
        EXPECT_NO_THROW(node->node(u"x")->removeNode());
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
    listen();
    node->put(u"a", u"1");
    EXPECT_EQ(heard->next(), "a=1");
    EXPECT_EQ(lines.count(u"Caught unknown exception in"), 0U) << "a thread of the library gave up";
}

TEST_F(RegistryPreferencesMonitoringTest, AListenerMayUseItsNodeAndRemoveItself) {
    listen();
    heard->inEachCall([this] {
        node->put(u"seen", node->get(u"a", u"?"));
        node->removePreferenceChangeListener(heard);
        heard->add("removed");
    });
    node->put(u"a", u"1");
    EXPECT_EQ(heard->next(), "a=1");
    EXPECT_EQ(heard->next(), "removed");
    listening = false;
    EXPECT_EQ(node->get(u"seen", u"?"), u"1");
}

TEST_F(RegistryPreferencesMonitoringTest, ListenerRefusesWorkAfterItsShutdown) {
    RegistryListener listener(HKEY_CURRENT_USER, name);
    node->put(u"a", u"1");
    listener.openKey(KEY_READ);
    listener.updateKeyValues();
    EXPECT_EQ(listener.size(), 1U);
    listener.shutdown();
    EXPECT_TRUE(listener.awaitKey());
    EXPECT_THROW(listener.registerListener(), NorqIllegalStateException);
    EXPECT_THROW(listener.updateAndNotify(), NorqIllegalStateException);
    EXPECT_THROW(static_cast<void>(listener.getWaitHandle()), NorqIllegalStateException);
    EXPECT_THROW(RegistryListener(HKEY_CURRENT_USER, u""), NorqIllegalArgumentException);
}

// The notifier is one for the process: this test ends it, and has a process of its own.
TEST_F(RegistryPreferencesMonitoringTest, NotifierRefusesWorkAfterItsShutdown) {
    if (!norqstd_test::Rerun::inside()) {
        EXPECT_EQ(norqstd_test::Rerun("RegistryPreferencesMonitoringTest.NotifierRefuses*").errors(), "");
        return;
    }
    node->addPreferenceChangeListener(heard);
    RegistryChangeNotifier& notifier = RegistryChangeNotifier::getInstance();
    const norqstd_test::DebugCapture lines(CALL);
    notifier.shutdown();
    EXPECT_TRUE(norqstd_test::eventually([&lines] { return lines.count(u"Got terminate signal.") == 1; }));
    notifier.shutdown();
    EXPECT_EQ(lines.count(u"Already shutdown."), 1U);
    EXPECT_THROW(node->addPreferenceChangeListener(heard), NorqIllegalStateException);
    EXPECT_THROW(node->removePreferenceChangeListener(heard), NorqIllegalStateException);
    EXPECT_EQ(RegistryChangeNotifier::convertHKeyToHKeyType(HKEY_LOCAL_MACHINE), 1U);
    try {
        static_cast<void>(RegistryChangeNotifier::convertHKeyToHKeyType(42));
        ADD_FAILURE() << "no root";
    } catch (const NorqIllegalArgumentException& e) {
        EXPECT_EQ(e.getMessage(), u"Invalid root: <42>.");
    }
}

} // namespace

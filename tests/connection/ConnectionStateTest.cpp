// Every state and transition of a connection, against services that do what a script says.

#include "ScriptedClient.h"
#include "support/Actor.h"
#include "support/DebugCapture.h"
#include "support/NothingLeft.h"
#include "thread/Thread.h"

using namespace norq_std;
using namespace norqstd_test;

namespace {

class ConnectionState : public NothingLeft {};

enum State { Idle, Wanted, Up, Recovering };

using Flags = std::tuple<bool, bool, bool>; // wish, connected, in recovery

Flags flagsOf(State state) {
    static constexpr bool t = true;
    static constexpr bool f = false;
    static constexpr std::array<Flags, 4> table = {Flags{f, f, f}, Flags{t, f, f}, Flags{t, t, f}, Flags{t, f, t}};
    return table[state];
}

Flags flagsOf(const ConnectionManager& manager) {
    return {manager.isWantToBeConnected(), manager.isConnected(), manager.isInRecovery()};
}

/// Brings a new client into a state; recovery has walked then, and walks again only when woken.
void bring(ScriptedClient& client, State state) {
    client.manager.setRecoveryInterval(FOREVER_MS);
    if (state == Up) {
        client.manager.connect();
    } else if (state != Idle) {
        client.manager.setRecoveryEnabled(state == Recovering);
        client.service->setDown({0, 1, 2});
        EXPECT_THROW(client.manager.connect(), NorqConnectException);
        EXPECT_TRUE(state == Wanted || client.service->await(1 + 3 + 3)); // the start makes a walk, the wake-up another
        client.manager.getHost();                                         // comes when the walk has ended
        client.service->takeCalls();
    }
    ASSERT_EQ(flagsOf(client.manager), flagsOf(state));
}

struct Transition {
    const char* name;
    State from;
    void (*event)(ScriptedClient&);
    State to;
    std::vector<std::string> told{};
    const WChar* thrown = u"";
};

void allDown(ScriptedClient& c) { c.service->setDown({0, 1, 2}); }

void report(ScriptedClient& c, std::shared_ptr<void> connection) { c.manager.doRecovery(connection); }

/// Wakes the recovery thread.
void walk(ScriptedClient& c) { c.manager.setRecoveryInterval(FOREVER_MS); }

const Transition transitions[] = {
    {"connect", Idle, [](ScriptedClient& c) { c.manager.connect(); }, Up, {"up host0"}},
    {"connect fails",
     Idle,
     [](ScriptedClient& c) {
         allDown(c);
         c.manager.connect();
     },
     Recovering,
     {},
     u"Refused."},
    {"connect fails without recovery",
     Idle,
     [](ScriptedClient& c) {
         c.manager.setRecoveryEnabled(false);
         allDown(c);
         c.manager.connect();
     },
     Wanted,
     {},
     u"Refused."},
    {"nothing to disconnect", Idle, [](ScriptedClient& c) { c.manager.disconnect(); }, Idle},
    {"nothing wanted to recover", Idle, [](ScriptedClient& c) { c.manager.doRecovery(true); }, Idle},
    {"connect again", Up, [](ScriptedClient& c) { c.manager.connect(); }, Up},
    {"disconnect", Up, [](ScriptedClient& c) { c.manager.disconnect(); }, Idle, {"down host0"}},
    {"disconnect kept alive", Up,
     [](ScriptedClient& c) {
         c.manager.setKeepConnectionAlive(true);
         c.manager.disconnect();
     },
     Up},
    {"shut down kept alive",
     Up,
     [](ScriptedClient& c) {
         c.manager.setKeepConnectionAlive(true);
         c.manager.shutdown();
     },
     Idle,
     {"down host0"}},
    {"drop",
     Up,
     [](ScriptedClient& c) {
         allDown(c);
         c.manager.doRecovery(true);
     },
     Recovering,
     {"down host0"}},
    {"drop though closing fails",
     Up,
     [](ScriptedClient& c) {
         allDown(c);
         c.service->inEachClose([] { throw NorqIOException(u"Broken."); });
         c.manager.doRecovery(true);
     },
     Recovering,
     {"down host0"}},
    {"failure of the connection",
     Up,
     [](ScriptedClient& c) {
         allDown(c);
         report(c, c.service->internalGetConnection());
     },
     Recovering,
     {"down host0"}},
    {"failure of an older connection", Up, [](ScriptedClient& c) { report(c, std::make_shared<int>(0)); }, Up},
    {"failed heartbeat",
     Up,
     [](ScriptedClient& c) {
         allDown(c);
         c.beatWith([] { throw NorqConnectException(u"No answer."); });
     },
     Recovering,
     {"down host0"}},
    {"failure of the connection without recovery",
     Up,
     [](ScriptedClient& c) {
         c.manager.setRecoveryEnabled(false);
         report(c, c.service->internalGetConnection());
     },
     Wanted,
     {"down host0"}},
    {"failed heartbeat without recovery",
     Up,
     [](ScriptedClient& c) {
         c.manager.setRecoveryEnabled(false);
         c.beatWith([] { throw NorqConnectException(u"No answer."); });
     },
     Wanted,
     {"down host0"}},
    {"drop without recovery",
     Up,
     [](ScriptedClient& c) {
         c.manager.setRecoveryEnabled(false);
         c.manager.doRecovery(true);
     },
     Wanted,
     {"down host0"}},
    {"recovery enabled while up", Up, [](ScriptedClient& c) { c.manager.setRecoveryEnabled(true); }, Up},
    {"a walk succeeds",
     Recovering,
     [](ScriptedClient& c) {
         c.service->setDown({0});
         walk(c);
     },
     Up,
     {"up host1"}},
    {"a walk fails", Recovering,
     [](ScriptedClient& c) {
         walk(c);
         EXPECT_TRUE(c.service->await(3));
     },
     Recovering},
    {"a walk throws what it should not",
     Recovering,
     [](ScriptedClient& c) {
         c.service->inEachConnect([] { throw std::runtime_error("bug"); });
         walk(c);
         EXPECT_TRUE(c.service->await(1));
         c.service->inEachConnect({});
         c.service->setDown({});
         walk(c);
     },
     Up,
     {"up host0"}},
    {"the wish is withdrawn within a walk", Recovering,
     [](ScriptedClient& c) {
         allDown(c);
         c.service->inEachConnect([&c] {
             c.service->setDown({});
             c.manager.disconnect();
         });
         walk(c);
         EXPECT_TRUE(eventually([&c] { return !c.manager.isInRecovery() && !c.service->internalGetConnection(); }));
     },
     Idle},
    {"disconnect in recovery", Recovering, [](ScriptedClient& c) { c.manager.disconnect(); }, Idle},
    {"shut down in recovery", Recovering, [](ScriptedClient& c) { c.manager.shutdown(); }, Idle},
    {"connect in recovery",
     Recovering,
     [](ScriptedClient& c) { c.manager.connect(); },
     Recovering,
     {},
     u"client. Automatic recovery to service is in progress."},
    {"recovery disabled", Recovering, [](ScriptedClient& c) { c.manager.setRecoveryEnabled(false); }, Wanted},
    {"recovery enabled", Wanted, [](ScriptedClient& c) { c.manager.setRecoveryEnabled(true); }, Recovering},
    {"old failure with recovery disabled", Wanted, [](ScriptedClient& c) { report(c, nullptr); }, Wanted},
    {"give up", Wanted, [](ScriptedClient& c) { c.manager.disconnect(); }, Idle},
    {"connect by hand",
     Wanted,
     [](ScriptedClient& c) {
         c.service->setDown({});
         c.manager.connect();
     },
     Up,
     {"up host0"}},
};

TEST_F(ConnectionState, follows_the_table_and_tells_of_it) {
    for (const Transition& transition : transitions) {
        SCOPED_TRACE(transition.name);
        ScriptedClient client;
        bring(client, transition.from);
        const auto listener = client.listen();
        WString thrown;
        try {
            transition.event(client);
        } catch (const NorqConnectException& e) {
            thrown = e.getMessage();
        }
        EXPECT_EQ(thrown, transition.thrown);
        EXPECT_TRUE(eventually([&] { return flagsOf(client.manager) == flagsOf(transition.to); }));
        EXPECT_EQ(client.manager.getHost().empty(), transition.to != Up);

        // Whatever was told stands before a change of which the listener hears for certain.
        auto expected = transition.told;
        const bool wasUp = client.manager.isConnected();
        if (wasUp)
            expected.push_back("down " + UtfUtils::utf16ToUtf8(client.manager.getHost()));
        client.reset();
        client.manager.connect();
        client.manager.disconnect();
        expected.emplace_back("up host0");
        for (const std::string& change : expected)
            EXPECT_EQ(listener->next(), change);
        EXPECT_EQ(listener->next(), "down host0");
    }
}

TEST_F(ConnectionState, begins_recovery_at_a_report_about_an_older_connection) {
    ScriptedClient client;
    client.manager.setRecoveryInterval(FOREVER_MS);
    client.service->inEachConnect([] { throw NorqObjectNotFoundException(u"Not configured."); });
    EXPECT_THROW(client.manager.connect(), NorqObjectNotFoundException); // after which nothing recovers by itself
    EXPECT_EQ(flagsOf(client.manager), flagsOf(Wanted));
    client.service->inEachConnect({});
    report(client, std::make_shared<int>(0));
    EXPECT_TRUE(eventually([&] { return client.manager.isConnected(); }));
}

TEST_F(ConnectionState, has_a_thread_for_listeners_only_where_there_are_any) {
    ScriptedClient client;
    const DebugCapture log(TRACE);
    client.manager.connect();
    client.manager.disconnect();
    EXPECT_EQ(log.count(u"Creating client notification thread."), 0U);
    client.listen();
    EXPECT_EQ(log.count(u"Creating client notification thread."), 1U);
}

/// Lets no thread of the library start while it lives.
struct NoNewThreads {
    NoNewThreads() { Thread::defaultStackSize = 1; }
    ~NoNewThreads() { Thread::defaultStackSize = before; }
    const std::uint32_t before = Thread::defaultStackSize;
};

TEST_F(ConnectionState, stays_sound_where_no_thread_can_be_started) {
    ScriptedClient client;
    const auto listener = std::make_shared<Listener>();
    {
        const NoNewThreads none;
        EXPECT_THROW(client.manager.connect(), NorqException);
        EXPECT_EQ(flagsOf(client.manager), flagsOf(Wanted));
        EXPECT_EQ(client.service->internalGetConnection(), nullptr);
    }
    client.manager.connect();
    {
        const NoNewThreads none;
        EXPECT_THROW(client.manager.addListener(listener), NorqException);
        client.service->setDown({0});
        client.manager.doRecovery(true); // by the thread that is there
        EXPECT_TRUE(eventually([&] { return client.manager.isConnected(); }));
    }
    client.manager.disconnect();
    for (const char* change : {"down host0", "up host1", "down host1"})
        EXPECT_EQ(listener->next(), change);
}

TEST_F(ConnectionState, lets_the_recovery_thread_sleep_as_long_as_the_state_says) {
    struct Row {
        State state;
        bool heartBeat;
        const WChar* sleep;
    };
    for (const Row& row : {Row{Idle, true, u"Sleeping for <-1>"}, Row{Wanted, true, u"Sleeping for <-1>"},
                           Row{Up, false, u"Sleeping for <-1>"}, Row{Up, true, u"Sleeping for <4444444>"},
                           Row{Recovering, true, u"Sleeping for <5555555>"}}) {
        ScriptedClient client;
        bring(client, row.state);
        client.manager.setHeartBeatInterval(4444444);
        client.manager.setHeartBeatEnabled(true); // starts the thread in every state
        client.manager.setHeartBeatEnabled(row.heartBeat);
        client.manager.setHeartBeatSender(
            std::make_shared<Sender>([] { ADD_FAILURE() << "beat within the interval"; }));
        const DebugCapture log(DUMP);
        client.manager.setRecoveryInterval(5555555);
        EXPECT_TRUE(eventually([&] { return log.count(row.sleep) > 0; })) << row.state;
    }
}

TEST_F(ConnectionState, walks_over_the_services_as_policy_and_settings_say) {
    struct Row {
        int services;
        std::set<int> down;
        bool lastPlusOne;
        int last;
        bool tryAll;
        bool recovery;
        std::vector<std::string> calls;
        const WChar* thrown;
    };
    const WChar* none = u"client. Unable to connect to any service.: No such service.";
    const Row rows[] = {
        {3,
         {0, 1, 2},
         false,
         -1,
         true,
         true,
         {"use 0", "connect 0", "use 1", "connect 1", "use 2", "connect 2", "use 3"},
         none},
        {3,
         {0, 1, 2},
         true,
         1,
         true,
         true,
         {"use 2", "connect 2", "use 3", "use 0", "connect 0", "use 1", "connect 1", "use 2", "connect 2", "use 3"},
         none},
        {3, {0, 2}, true, 2, true, true, {"use 3", "use 0", "connect 0", "use 1", "connect 1"}, u""},
        {3, {0, 1, 2}, true, 0, false, true, {"use 1", "connect 1"}, u"Refused."},
        {3, {}, true, 2, false, true, {"use 3", "use 0", "connect 0"}, u""},
        {3, {}, true, 0, false, false, {"use 0", "connect 0"}, u""},
        {0, {}, false, -1, true, true, {"use 0"}, u"No such service."},
        {0, {}, true, 4, true, true, {"use 5", "use 0"}, u"No such service."},
        {0, {}, true, 4, false, true, {"use 5", "use 0"}, u"No such service."},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(&row - rows);
        ScriptedClient client(row.services);
        ConnectionManager& manager = client.manager;
        if (row.lastPlusOne)
            manager.setConnectionPolicy(std::make_shared<LastPlusOneConnectionPolicy>());
        manager.getConnectionPolicy()->setIndexOfConnectionInfoInLastAttempt(row.last);
        manager.setRecoveryEnabled(row.recovery);
        manager.setTryAllServices(row.tryAll);
        manager.setRecoveryInterval(FOREVER_MS);
        client.service->setDown(row.down);
        const DebugCapture log;
        WString thrown;
        try {
            manager.connect();
        } catch (const NorqException& e) {
            thrown = e.getMessage();
        }
        EXPECT_EQ(thrown, row.thrown);
        auto calls = client.service->takeCalls();
        calls.resize(std::min(calls.size(), row.calls.size())); // the recovery's own may follow
        EXPECT_EQ(calls, row.calls);
        const bool failed = !row.down.empty() && !thrown.empty();
        EXPECT_EQ(manager.isInRecovery(), failed);
        EXPECT_GE(log.count(u"Client <client> failed to connect to any service."), failed ? 1U : 0U);
        EXPECT_EQ(manager.isConnected(), thrown.empty());
        const int successful = manager.getConnectionPolicy()->getIndexOfConnectionInfoInLastSuccessful();
        EXPECT_EQ(successful, thrown.empty() ? row.calls.back().back() - '0' : -1);
    }
}

TEST_F(ConnectionState, reports_changes_as_numbered_messages_or_as_debug_lines) {
    for (const bool numbered : {true, false}) {
        ScriptedClient client;
        client.manager.setLogConnectionStatus(numbered);
        const DebugCapture log;
        client.manager.connect();
        client.manager.disconnect();
        for (const auto* text : {u"Client <client> connected to service at <host0>.",
                                 u"Client <client> disconnected from service at <host0>."})
            EXPECT_EQ(log.count(text), 1U);
        EXPECT_EQ(log.count(u"ConnectionAttempts.cpp"), numbered ? 0U : 2U); // only debug lines show their place
    }
}

TEST_F(ConnectionState, refuses_what_it_cannot_use_and_shows_what_it_has) {
    const auto service = std::make_shared<ScriptedService>(1);
    EXPECT_THROW(ConnectionManager(u"", service), NorqIllegalArgumentException);
    EXPECT_THROW(ConnectionManager(u"client", nullptr), NorqIllegalArgumentException);
    ScriptedClient client;
    ConnectionManager& manager = client.manager;
    EXPECT_THROW(manager.setHeartBeatInterval(0), NorqIllegalArgumentException);
    EXPECT_THROW(manager.setRecoveryInterval(0), NorqIllegalArgumentException);
    EXPECT_THROW(manager.setConnectionPolicy(nullptr), NorqIllegalArgumentException);
    EXPECT_THROW(manager.addListener(nullptr), NorqIllegalArgumentException);
    EXPECT_THROW(manager.removeListener(nullptr), NorqIllegalArgumentException);
    EXPECT_EQ(manager.toString(),
              u"ConnectionManager{name='client',connImpl=ScriptedService{},heartBeatSender=null,"
              u"isHeartBeatEnabledFlag=false,heartBeatInterval=30000,isRecoveryEnabledFlag=true,recoveryInterval=15000,"
              u"connectionPolicy=ZeroStartConnectionPolicy{AbstractConnectionPolicy{indexOfLastAttempted=-1,"
              u"indexOfLastSuccessful=-1}},isTryAllServicesFlag=false,isKeepConnectionAliveFlag=false,"
              u"isConnectedFlag=false,isInRecoveryFlag=false,isWantToBeConnectedFlag=false,lastOperationTime=0,"
              u"isLogConnectionStatusFlag=true,currentHost=''}");
    EXPECT_EQ(ConnectionManager::ServiceStatus(true, u"h").toString(), u"ServiceStatus{isUpFlag=true,host='h'}");
}

} // namespace

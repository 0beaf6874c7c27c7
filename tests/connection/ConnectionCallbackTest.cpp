// What the manager's own threads call: listeners and heartbeats that block, throw and call back.

#include "ScriptedClient.h"
#include "support/Actor.h"
#include "support/DebugCapture.h"
#include "support/NothingLeft.h"

using namespace norq_std;
using namespace norqstd_test;

namespace {

class ConnectionCallback : public NothingLeft {};

TEST_F(ConnectionCallback, tells_the_others_when_a_listener_throws) {
    const std::pair<std::function<void()>, const WChar*> rows[] = {
        {[] { throw NorqIOException(u"odd"); }, u"statusChanged(true,host0) unexpectedly throw <odd>."},
        {[] { throw std::runtime_error("odd"); }, u"statusChanged(true,host0) unexpectedly throw <odd>."},
        {[] { throw 7; },
         u"client. IConnectionStatusListener::statusChanged(true,host0) unexpectedly throw exception."},
    };
    for (const auto& [failure, line] : rows) {
        ScriptedClient client;
        const auto one = client.listen();
        const auto other = client.listen();
        one->inEachCall(failure);
        other->inEachCall(failure); // whichever is the first
        const DebugCapture log;
        client.manager.connect();
        client.manager.disconnect();
        for (const auto& listener : {one, other}) {
            EXPECT_EQ(listener->next(), "up host0");
            EXPECT_EQ(listener->next(), "down host0");
        }
        EXPECT_TRUE(eventually([&log, text = line] { return log.count(text) == 2; }));
    }
}

TEST_F(ConnectionCallback, goes_on_while_a_listener_blocks_and_tells_it_all_in_order) {
    ScriptedClient client;
    const auto listener = client.listen();
    std::promise<void> release;
    listener->inEachCall([future = release.get_future().share()] { future.wait(); });
    for (int i = 0; i < 3; ++i) {
        client.manager.connect();
        client.manager.disconnect();
    }
    EXPECT_EQ(listener->next(), "up host0");
    const auto late = client.listen(); // hears of what has not been told yet
    release.set_value();
    for (const char* change : {"down host0", "up host0", "down host0", "up host0", "down host0"}) {
        EXPECT_EQ(listener->next(), change);
        EXPECT_EQ(late->next(), change);
    }
    client.manager.removeListener(listener);
    client.manager.connect();
    EXPECT_EQ(late->next(), "up host0");
    client.manager.disconnect();
    EXPECT_EQ(late->next(), "down host0");
    client.manager.removeListener(late);
    client.manager.connect(); // nobody hears, and it is not kept
    const auto later = client.listen();
    client.manager.disconnect();
    EXPECT_EQ(later->next(), "down host0");
    for (const auto& gone : {listener, late}) { // heard nothing since
        gone->add("nothing more");
        EXPECT_EQ(gone->next(), "nothing more");
    }
}

TEST_F(ConnectionCallback, tells_and_answers_during_a_long_attempt) {
    ScriptedClient client;
    const auto listener = client.listen();
    client.manager.connect();
    EXPECT_EQ(listener->next(), "up host0");
    std::promise<void> release;
    client.service->inEachConnect([future = release.get_future().share()] { future.wait(); });
    client.service->takeCalls();
    client.manager.doRecovery(true);
    EXPECT_TRUE(client.service->await(1));
    EXPECT_EQ(listener->next(), "down host0");
    client.manager.setLastOperationTime();
    EXPECT_FALSE(client.manager.isConnected());
    EXPECT_TRUE(client.manager.isInRecovery());
    release.set_value();
    EXPECT_EQ(listener->next(), "up host0");
}

TEST_F(ConnectionCallback, may_be_called_back_from_a_listener) {
    ScriptedClient client;
    const auto listener = client.listen();
    int ups = 0;
    listener->inEachCall([&] {
        if (client.manager.isConnected() && ups++ < 3) {
            client.manager.shutdown(); // from a thread that it ends
            client.manager.connect();
        }
    });
    client.manager.connect();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(listener->next(), "up host0");
        EXPECT_EQ(listener->next(), "down host0");
    }
    EXPECT_EQ(listener->next(), "up host0");
    client.manager.shutdown();
    client.manager.connect(); // after all that, it works
    EXPECT_EQ(listener->next(), "down host0");
    EXPECT_EQ(listener->next(), "up host0");
}

TEST_F(ConnectionCallback, closes_what_a_listener_connects_while_the_manager_is_destroyed) {
    const auto service = std::make_shared<ScriptedService>(1);
    const auto listener = std::make_shared<Listener>();
    int calls = 0;
    {
        ConnectionManager manager(u"client", service);
        listener->inEachCall([&manager, &calls] {
            if (++calls > 1)
                manager.connect();
        });
        manager.addListener(listener);
        manager.connect();
        EXPECT_EQ(listener->next(), "up host0");
    }
    EXPECT_EQ(service->internalGetConnection(), nullptr);
}

TEST_F(ConnectionCallback, ends_its_threads_when_the_implementer_fails_to_close) {
    ScriptedClient client;
    const auto listener = client.listen();
    client.manager.connect();
    client.service->inEachClose([] { throw std::runtime_error("stuck"); });
    EXPECT_THROW(client.manager.shutdown(), std::runtime_error);
    EXPECT_TRUE(client.manager.isConnected());
    EXPECT_FALSE(client.manager.isWantToBeConnected());
    client.service->inEachClose([] { throw NorqConnectException(u"gone"); });
    EXPECT_NO_THROW(client.manager.shutdown());
}

TEST_F(ConnectionCallback, holds_a_connection_sound_unless_the_heartbeat_says_that_it_is_lost) {
    const std::pair<std::function<void()>, const WChar*> rows[] = {
        {[] {}, u"Heartbeat successful."},
        {[] { throw NorqIOException(u"odd"); }, u"client. ISendHeartBeat::sendHeartBeat unexpectedly throw <odd>."},
        {[] { throw std::runtime_error("odd"); }, u"client. ISendHeartBeat::sendHeartBeat unexpectedly throw <odd>."},
        {[] { throw 7; }, u"client. ISendHeartBeat::sendHeartBeat unexpectedly throw exception."},
    };
    for (const auto& [beat, line] : rows) {
        ScriptedClient client;
        client.manager.connect();
        const DebugCapture log(TRACE);
        client.beatWith(beat);
        EXPECT_TRUE(eventually([&log, text = line] { return log.count(text) > 1; }));
        EXPECT_TRUE(client.manager.isConnected());
    }
}

TEST_F(ConnectionCallback, recovers_from_a_failed_heartbeat_at_once) {
    ScriptedClient client;
    client.manager.setRecoveryInterval(FOREVER_MS);
    const auto listener = client.listen();
    client.manager.connect();
    const DebugCapture log;
    client.beatWith([&client, first = true]() mutable {
        client.service->setDown({0});
        if (std::exchange(first, false))
            throw NorqConnectException(u"No answer.");
    });
    for (const char* change : {"up host0", "down host0", "up host1"})
        EXPECT_EQ(listener->next(), change);
    EXPECT_EQ(log.count(u"failed to send heart beat"), 0U);
}

/// Its connection is gone when it is asked for.
class Amnesiac : public ConnectionManager {
public:
    using ConnectionManager::ConnectionManager;
    ~Amnesiac() override { shutdown(); }

protected:
    std::shared_ptr<void> callInternalGetConnection(const std::shared_ptr<IConnectionImplementer>&) override {
        throw NorqConnectException(u"Which?");
    }
};

TEST_F(ConnectionCallback, reports_a_heartbeat_that_could_not_be_tried) {
    Amnesiac manager(u"client", std::make_shared<ScriptedService>(1));
    manager.connect();
    const DebugCapture log;
    manager.setHeartBeatSender(std::make_shared<Sender>([] {}));
    manager.setHeartBeatInterval(1);
    manager.setHeartBeatEnabled(true);
    EXPECT_TRUE(
        eventually([&] { return log.count(u"Client <client> failed to send heart beat to service at <host0>.") > 0; }));
    EXPECT_TRUE(manager.isConnected());
}

} // namespace

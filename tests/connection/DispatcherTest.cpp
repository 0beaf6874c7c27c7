#include "connection/Dispatcher.h"
#include "connection/DispatcherFactory.h"
#include "connection/IEvent.h"
#include "connection/IEventListener.h"
#include "exception/NorqException.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

using namespace norq_std;
using norqstd_test::DebugCapture;

namespace {

class Event : public IEvent {
public:
    explicit Event(const WString& eventName)
        : name(eventName) {}
    WString toString() const override { return u"Event{" + name + u"}"; }
    WString getEventName() const override { return name; }

private:
    const WString name;
};

class Listener : public IEventListener {
public:
    explicit Listener(std::function<void()> inEachCall = [] {})
        : step(std::move(inEachCall)) {}
    WString toString() const override { return u"Listener{}"; }
    void submit(const std::shared_ptr<IEvent>& event) override {
        heard.push_back(event->getEventName());
        step();
    }

    std::vector<WString> heard;
    std::function<void()> step;
};

using Names = std::vector<WString>;

class DispatcherTest : public ::testing::Test {
protected:
    void SetUp() override { dispatcher->removeAllListeners(); }
    void submit(const WString& name) { dispatcher->submit(std::make_shared<Event>(name)); }

    std::shared_ptr<IDispatcher> dispatcher = DispatcherFactory::getInstance().getDispatcher(u"hub");
};

TEST_F(DispatcherTest, is_one_for_each_key) {
    DispatcherFactory& factory = DispatcherFactory::getInstance();
    EXPECT_EQ(factory.getDispatcher(u"hub"), dispatcher);
    EXPECT_NE(factory.getDispatcher(u"other hub"), dispatcher);
    EXPECT_FALSE(factory.isValidKey(u"never asked for"));
    EXPECT_FALSE(factory.isValidKey(u"never asked for"));
    EXPECT_TRUE(factory.isValidKey(u"hub"));
    EXPECT_EQ(dispatcher->getKey(), u"hub");
    EXPECT_EQ(dispatcher->toString(), u"Dispatcher{key='hub'}");
    try {
        factory.getDispatcher(u"");
        ADD_FAILURE();
    } catch (const NorqIllegalArgumentException& e) {
        EXPECT_EQ(e.getMessage(), u"Key value is empty.");
    }
}

TEST_F(DispatcherTest, tells_the_listeners_of_the_name_once_each) {
    const auto both = std::make_shared<Listener>();
    const auto one = std::make_shared<Listener>();
    dispatcher->addListener(both, Names{u"a", u"b"});
    dispatcher->addListener(both, u"a");
    dispatcher->addListener(one, u"b");
    for (const auto* name : {u"a", u"b", u"c"})
        submit(name);
    EXPECT_EQ(both->heard, (Names{u"a", u"b"}));
    EXPECT_EQ(one->heard, (Names{u"b"}));
    dispatcher->removeListener(both, u"a");
    dispatcher->removeListener(one, Names{u"b", u"unknown"});
    submit(u"a");
    submit(u"b");
    EXPECT_EQ(both->heard, (Names{u"a", u"b", u"b"}));
    dispatcher->removeListener(both);
    const DebugCapture log;
    submit(u"b");
    EXPECT_EQ(both->heard.size() + one->heard.size(), 4U);
    EXPECT_EQ(log.count(u"No listeners registered"), 0U); // the name is known still
    submit(u"c");
    EXPECT_EQ(log.count(u"No listeners registered for event <c>."), 1U);
}

TEST_F(DispatcherTest, lets_a_listener_change_the_list_and_submit_while_it_is_told) {
    const auto second = std::make_shared<Listener>([&] { dispatcher->removeAllListeners(); });
    const auto first = std::make_shared<Listener>();
    first->step = [&] {
        dispatcher->addListener(second, u"a");
        dispatcher->removeListener(first);
        submit(u"a"); // for the second alone, which the submission that runs does not know
    };
    dispatcher->addListener(first, u"a");
    submit(u"a");
    submit(u"a");
    EXPECT_EQ(first->heard.size(), 1U);
    EXPECT_EQ(second->heard.size(), 1U);
}

TEST_F(DispatcherTest, goes_on_behind_an_exception_and_stops_at_what_is_none) {
    const auto norq = std::make_shared<Listener>([] { throw NorqIOException(u"odd"); });
    const auto standard = std::make_shared<Listener>([] { throw std::runtime_error("odd"); });
    const auto calm = std::make_shared<Listener>();
    for (const auto& listener : {norq, standard, calm})
        dispatcher->addListener(listener, u"a");
    const DebugCapture log;
    submit(u"a");
    EXPECT_EQ(norq->heard.size() + standard->heard.size() + calm->heard.size(), 3U);
    const WString line = u"Dispatcher hub. IEventListener::submit(Event{a}) unexpectedly throw <";
    EXPECT_EQ(log.count(line + u"odd>."), 2U);
    for (const auto& listener : {norq, standard, calm})
        listener->step = [] { throw 7; };
    EXPECT_THROW(submit(u"a"), int);
    EXPECT_EQ(norq->heard.size() + standard->heard.size() + calm->heard.size(), 4U);
}

TEST_F(DispatcherTest, refuses_what_it_cannot_use_whole) {
    const auto listener = std::make_shared<Listener>();
    EXPECT_THROW(dispatcher->addListener(nullptr, u"a"), NorqIllegalArgumentException);
    EXPECT_THROW(dispatcher->addListener(listener, u""), NorqIllegalArgumentException);
    EXPECT_THROW(dispatcher->addListener(listener, Names{u"a", u""}), NorqIllegalArgumentException);
    EXPECT_THROW(dispatcher->removeListener(nullptr), NorqIllegalArgumentException);
    EXPECT_THROW(dispatcher->removeListener(listener, u""), NorqIllegalArgumentException);
    EXPECT_THROW(dispatcher->submit(nullptr), NorqIllegalArgumentException);
    submit(u"a");
    EXPECT_EQ(listener->heard.size(), 0U);
}

TEST_F(DispatcherTest, traces_its_calls_when_asked_to) {
    const DebugCapture log(CALL);
    dispatcher->addListener(std::make_shared<Listener>(), u"a");
    submit(u"a");
    EXPECT_EQ(log.count(u"Begin. Listener <Listener{}> Event name <a>."), 1U);
    EXPECT_EQ(log.count(u"Begin. Event <Event{a}>."), 1U);
    EXPECT_EQ(log.count(u"Dispatcher.cpp"), log.count(u"Begin.") + log.count(u"End."));
    EXPECT_EQ(log.count(u"Begin."), log.count(u"End."));
}

TEST_F(DispatcherTest, serves_threads_that_change_it_meanwhile) {
    class Counter : public IEventListener {
    public:
        void submit(const std::shared_ptr<IEvent>&) override { ++calls; }
        std::atomic<int> calls{0};
    };
    const auto steady = std::make_shared<Counter>();
    dispatcher->addListener(steady, u"a");
    constexpr int EACH = 2000;
    const auto work = [&] {
        for (int i = 0; i < EACH; ++i) {
            const auto guest = std::make_shared<Counter>();
            dispatcher->addListener(guest, u"a");
            submit(u"a");
            EXPECT_GE(guest->calls, 1);
            dispatcher->removeListener(guest);
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(steady->calls, 2 * EACH);
}

} // namespace

// What a client pays for a supervised connection, and what an event costs on its way to its listeners.

#include "connection/ConnectionManager.h"
#include "connection/DispatcherFactory.h"
#include "connection/IConnectionImplementer.h"
#include "connection/IConnectionStatusListener.h"
#include "connection/IEvent.h"
#include "connection/IEventListener.h"

#include <Poco/NObserver.h>
#include <Poco/NotificationCenter.h>
#include <benchmark/benchmark.h>
#include <boost/signals2.hpp>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace norq_std;

class Service : public IConnectionImplementer {
public:
    WString toString() const override { return u"Service{}"; }
    WString useServiceConnectionInfo(int) override { return u"host"; }
    void establishConnection() override {}
    void disconnectConnection() override {}
};

class CountingListener : public IConnectionStatusListener {
public:
    explicit CountingListener(std::atomic<std::size_t>& calls)
        : count(calls) {}
    WString toString() const override { return u"CountingListener{}"; }
    void statusChanged(bool, const WString&) override {
        count.fetch_add(1, std::memory_order_release);
        count.notify_one();
    }

private:
    std::atomic<std::size_t>& count;
};

void operationTime(benchmark::State& state) {
    ConnectionManager manager(u"client", std::make_shared<Service>());
    for (auto _ : state)
        manager.setLastOperationTime();
}

void clock(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(std::chrono::system_clock::now());
}

/// From the change to the return of the last listener.
void statusChange(benchmark::State& state, std::size_t listeners) {
    std::atomic<std::size_t> calls{0};
    ConnectionManager manager(u"client", std::make_shared<Service>());
    manager.setLogConnectionStatus(false);
    for (std::size_t i = 0; i < listeners; ++i)
        manager.addListener(std::make_shared<CountingListener>(calls));
    std::size_t expected = 0;
    bool up = false;
    for (auto _ : state) {
        up = !up;
        up ? manager.connect() : manager.disconnect();
        expected += listeners;
        for (std::size_t seen = calls; seen != expected; seen = calls)
            calls.wait(seen);
    }
}

/// What each listener does with an event, whoever calls it.
struct Sink {
    std::size_t heard = 0;
};

/// A name of up to 7 units costs its event no allocation at each submission; the peers know no names.
constexpr const WChar* SHORT_NAME = u"alarm";
constexpr const WChar* LONG_NAME = u"temperature too high";

class Alarm : public IEvent {
public:
    explicit Alarm(const WChar* eventName)
        : name(eventName) {}
    WString toString() const override { return u"Alarm{}"; }
    WString getEventName() const override { return name; }

private:
    const WString name;
};

class SinkListener : public IEventListener {
public:
    void submit(const std::shared_ptr<IEvent>& event) override {
        benchmark::DoNotOptimize(event.get());
        ++sink.heard;
    }
    Sink sink;
};

void submitOurs(benchmark::State& state, int listeners, const WChar* name) {
    const auto dispatcher = DispatcherFactory::getInstance().getDispatcher(u"bench");
    dispatcher->removeAllListeners();
    for (int i = 0; i < listeners; ++i)
        dispatcher->addListener(std::make_shared<SinkListener>(), name);
    const std::shared_ptr<IEvent> event = std::make_shared<Alarm>(name);
    for (auto _ : state)
        dispatcher->submit(event);
}

void submitSignals2(benchmark::State& state, int listeners) {
    boost::signals2::signal<void(const std::shared_ptr<IEvent>&)> signal;
    std::vector<std::shared_ptr<Sink>> sinks;
    for (int i = 0; i < listeners; ++i) {
        sinks.push_back(std::make_shared<Sink>());
        signal.connect([sink = sinks.back()](const std::shared_ptr<IEvent>& event) {
            benchmark::DoNotOptimize(event.get());
            ++sink->heard;
        });
    }
    const std::shared_ptr<IEvent> event = std::make_shared<Alarm>(SHORT_NAME);
    for (auto _ : state)
        signal(event);
}

class PocoAlarm : public Poco::Notification {};

struct PocoSink {
    void handle(const Poco::AutoPtr<PocoAlarm>& alarm) {
        benchmark::DoNotOptimize(alarm.get());
        ++sink.heard;
    }
    Sink sink;
};

void submitPoco(benchmark::State& state, int listeners) {
    Poco::NotificationCenter center;
    std::vector<std::unique_ptr<PocoSink>> sinks;
    for (int i = 0; i < listeners; ++i) {
        sinks.push_back(std::make_unique<PocoSink>());
        center.addObserver(Poco::NObserver<PocoSink, PocoAlarm>(*sinks.back(), &PocoSink::handle));
    }
    const Poco::AutoPtr<PocoAlarm> alarm = new PocoAlarm;
    for (auto _ : state)
        center.postNotification(alarm);
}

} // namespace

// A program with one thread lets the C++ runtime skip its atomics; real ones have several.
int main(int argc, char** argv) {
    std::thread second([] {});
    benchmark::RegisterBenchmark("connection/set_last_operation_time/ours", operationTime);
    benchmark::RegisterBenchmark("connection/set_last_operation_time/system_clock", clock);
    for (const std::size_t listeners : {1U, 1000U})
        benchmark::RegisterBenchmark(
            ("connection/status_change_to_" + std::to_string(listeners) + "_listeners/ours").c_str(), statusChange,
            listeners)
            ->UseRealTime();
    for (const int listeners : {1, 10, 100}) {
        const std::string topic = "dispatcher/submit_to_" + std::to_string(listeners) + "/";
        benchmark::RegisterBenchmark((topic + "ours").c_str(), submitOurs, listeners, SHORT_NAME);
        benchmark::RegisterBenchmark((topic + "boost_signals2").c_str(), submitSignals2, listeners);
        benchmark::RegisterBenchmark((topic + "poco_notification_center").c_str(), submitPoco, listeners);
    }
    benchmark::RegisterBenchmark("dispatcher/submit_long_name_to_1/ours", submitOurs, 1, LONG_NAME);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    second.join();
    return 0;
}

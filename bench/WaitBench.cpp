#include "concurrency/Concurrency.h"
#include "concurrency/Event.h"
#include "concurrency/Lock.h"

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <poll.h>
#include <string>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace norq_std;

namespace {

/// The event that everybody writes by hand: a flag, its mutex and its condition variable.
class BareEvent {
public:
    void signal() {
        const std::lock_guard<std::mutex> guard(mutex);
        set = true;
        condition.notify_one();
    }
    void wait() {
        std::unique_lock<std::mutex> guard(mutex);
        condition.wait(guard, [this] { return set; });
        set = false;
    }

private:
    std::mutex mutex;
    std::condition_variable condition;
    bool set = false;
};

class OurEvent {
public:
    void signal() { event.signal(); }
    void wait() { Concurrency::waitForSingleObject(event, -1); }

private:
    Event event{true, false};
};

/// Signal and wait in one thread: nobody ever sleeps.
template <class E>
void setEvent(benchmark::State& state) {
    E event;
    for (auto _ : state) {
        event.signal();
        event.wait();
    }
}

/// There and back between two threads: both sleep each time.
template <class E>
void pingPong(benchmark::State& state) {
    E ping;
    E pong;
    bool done = false;
    std::thread partner([&] {
        for (;;) {
            ping.wait();
            if (done)
                return;
            pong.signal();
        }
    });
    for (auto _ : state) {
        ping.signal();
        pong.wait();
    }
    done = true;
    ping.signal();
    partner.join();
}

/// Any of n with the last one set, which is then set again.
void anyOurs(benchmark::State& state, std::size_t n) {
    std::vector<std::unique_ptr<Event>> events;
    std::vector<Waitable*> objects;
    for (std::size_t i = 0; i < n; ++i) {
        events.push_back(std::make_unique<Event>(true, false));
        objects.push_back(events.back().get());
    }
    for (auto _ : state) {
        events.back()->signal();
        benchmark::DoNotOptimize(Concurrency::waitForMultipleObjects(objects, WAIT_ANY, -1));
    }
}

void anyEventfd(benchmark::State& state, std::size_t n) {
    std::vector<pollfd> polled;
    for (std::size_t i = 0; i < n; ++i)
        polled.push_back({eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), POLLIN, 0});
    for (auto _ : state) {
        eventfd_write(polled.back().fd, 1);
        poll(polled.data(), polled.size(), -1);
        for (const pollfd& one : polled)
            if (eventfd_t value = 0; (one.revents & POLLIN) != 0)
                eventfd_read(one.fd, &value);
    }
    for (const pollfd& one : polled)
        close(one.fd);
}

template <class L>
void uncontended(benchmark::State& state) {
    L lock;
    for (auto _ : state) {
        lock.lock();
        lock.unlock();
    }
}

template <class L>
void recursion(benchmark::State& state) {
    L lock;
    lock.lock();
    for (auto _ : state) {
        lock.lock();
        lock.unlock();
    }
    lock.unlock();
}

const bool registered = [] {
    benchmark::RegisterBenchmark("wait/set_event/ours", setEvent<OurEvent>);
    benchmark::RegisterBenchmark("wait/set_event/condition_variable", setEvent<BareEvent>);
    benchmark::RegisterBenchmark("wait/ping_pong/ours", pingPong<OurEvent>)->UseRealTime();
    benchmark::RegisterBenchmark("wait/ping_pong/condition_variable", pingPong<BareEvent>)->UseRealTime();
    for (const std::size_t n : {1, 8, 64}) {
        const std::string topic = "wait/any_of_" + std::to_string(n);
        benchmark::RegisterBenchmark((topic + "/ours").c_str(), anyOurs, n);
        benchmark::RegisterBenchmark((topic + "/eventfd_poll").c_str(), anyEventfd, n);
    }
    benchmark::RegisterBenchmark("lock/uncontended/ours", uncontended<Lock>);
    benchmark::RegisterBenchmark("lock/uncontended/std_recursive_mutex", uncontended<std::recursive_mutex>);
    benchmark::RegisterBenchmark("lock/recursion/ours", recursion<Lock>);
    benchmark::RegisterBenchmark("lock/recursion/std_recursive_mutex", recursion<std::recursive_mutex>);
    return true;
}();

} // namespace

BENCHMARK_MAIN();

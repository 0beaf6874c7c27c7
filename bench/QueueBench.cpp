// Items through a bounded queue, from producers to consumers that wait for them. The time is for one item.

#include "concurrency/StdDequeBlockingQueue.h"

#include <benchmark/benchmark.h>

#define BOOST_THREAD_VERSION 4
#include <boost/thread/sync_bounded_queue.hpp>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using Item = std::shared_ptr<norq_std::WString>;

constexpr std::int32_t Capacity = 1024;
constexpr std::int64_t ItemsPerRun = 200'000;

struct Ours {
    void push(const Item& item) { queue.offer(item, -1); }
    Item pop() { return queue.poll(-1); }
    norq_std::StdDequeBlockingQueue<Item, Item> queue{Capacity};
};

struct Boost {
    void push(const Item& item) { queue.push_back(item); }
    Item pop() { return queue.pull_front(); }
    boost::concurrent::sync_bounded_queue<Item> queue{static_cast<std::size_t>(Capacity)};
};

/// The plain pattern: a mutex and two conditions around a deque.
struct Plain {
    void push(const Item& item) {
        std::unique_lock<std::mutex> guard(mutex);
        notFull.wait(guard, [this] { return items.size() < static_cast<std::size_t>(Capacity); });
        items.push_back(item);
        notEmpty.notify_one();
    }
    Item pop() {
        std::unique_lock<std::mutex> guard(mutex);
        notEmpty.wait(guard, [this] { return !items.empty(); });
        Item item = std::move(items.front());
        items.pop_front();
        notFull.notify_one();
        return item;
    }
    std::mutex mutex;
    std::condition_variable notEmpty, notFull;
    std::deque<Item> items;
};

template <class Queue>
void transfer(benchmark::State& state, std::int64_t pairs) {
    const Item item = std::make_shared<norq_std::WString>(u"item");
    while (state.KeepRunningBatch(ItemsPerRun)) {
        Queue queue;
        std::vector<std::jthread> threads;
        for (std::int64_t i = 0; i < pairs; ++i) {
            threads.emplace_back([&] {
                for (std::int64_t n = 0; n < ItemsPerRun / pairs; ++n)
                    queue.push(item);
            });
            threads.emplace_back([&] {
                for (std::int64_t n = 0; n < ItemsPerRun / pairs; ++n)
                    benchmark::DoNotOptimize(queue.pop());
            });
        }
        threads.clear();
    }
}

template <class Queue>
void passThrough(benchmark::State& state) {
    Queue queue;
    const Item item = std::make_shared<norq_std::WString>(u"item");
    for (auto _ : state) {
        queue.push(item);
        benchmark::DoNotOptimize(queue.pop());
    }
}

template <class Queue>
void addTransfer(const std::string& name, std::int64_t pairs) {
    benchmark::RegisterBenchmark(name.c_str(), [pairs](benchmark::State& state) {
        transfer<Queue>(state, pairs);
    })->UseRealTime();
}

void addTransfers(const std::string& topic, std::int64_t pairs) {
    addTransfer<Ours>(topic + "/ours", pairs);
    addTransfer<Boost>(topic + "/boost_sync_bounded_queue", pairs);
    addTransfer<Plain>(topic + "/std_mutex_deque", pairs);
}

} // namespace

int main(int argc, char** argv) {
    addTransfers("queue/1_to_1", 1);
    addTransfers("queue/4_to_4", 4);
    benchmark::RegisterBenchmark("queue/one_thread/ours", &passThrough<Ours>);
    benchmark::RegisterBenchmark("queue/one_thread/boost_sync_bounded_queue", &passThrough<Boost>);
    benchmark::RegisterBenchmark("queue/one_thread/std_mutex_deque", &passThrough<Plain>);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

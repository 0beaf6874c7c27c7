// What a lock costs when nobody contends for it, and how readers share one.

#include "concurrency/Lock.h"
#include "concurrency/ReadWriteLock.h"

#include <benchmark/benchmark.h>
#include <boost/thread/shared_mutex.hpp>

#include <mutex>
#include <shared_mutex>
#include <thread>

namespace {

/// The locks under one set of names.
struct OursReadWrite {
    void readLock() { lock.readLock(); }
    void readUnlock() { lock.readUnlock(); }
    void writeLock() { lock.writeLock(); }
    void writeUnlock() { lock.writeUnlock(); }
    norq_std::ReadWriteLock lock{norq_std::ReadWriteLock::DefaultReaderCount};
};
template <class Mutex>
struct PeerReadWrite {
    void readLock() { lock.lock_shared(); }
    void readUnlock() { lock.unlock_shared(); }
    void writeLock() { lock.lock(); }
    void writeUnlock() { lock.unlock(); }
    Mutex lock;
};

template <class L>
L& shared() {
    static L& lock = *new L;
    return lock;
}

template <class L>
void read(benchmark::State& state) {
    L& lock = shared<L>();
    for (auto _ : state) {
        lock.readLock();
        benchmark::ClobberMemory();
        lock.readUnlock();
    }
}

template <class L>
void write(benchmark::State& state) {
    L& lock = shared<L>();
    for (auto _ : state) {
        lock.writeLock();
        benchmark::ClobberMemory();
        lock.writeUnlock();
    }
}

template <class L>
void exclusive(benchmark::State& state) {
    L& lock = shared<L>();
    for (auto _ : state) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
}

using StdShared = PeerReadWrite<std::shared_mutex>;
using BoostShared = PeerReadWrite<boost::shared_mutex>;

BENCHMARK(read<OursReadWrite>)->Name("rwlock/read/ours");
BENCHMARK(read<StdShared>)->Name("rwlock/read/std_shared_mutex");
BENCHMARK(read<BoostShared>)->Name("rwlock/read/boost_shared_mutex");
BENCHMARK(write<OursReadWrite>)->Name("rwlock/write/ours");
BENCHMARK(write<StdShared>)->Name("rwlock/write/std_shared_mutex");
BENCHMARK(write<BoostShared>)->Name("rwlock/write/boost_shared_mutex");
BENCHMARK(read<OursReadWrite>)->Name("rwlock/read_4_threads/ours")->Threads(4)->UseRealTime();
BENCHMARK(read<StdShared>)->Name("rwlock/read_4_threads/std_shared_mutex")->Threads(4)->UseRealTime();
BENCHMARK(read<BoostShared>)->Name("rwlock/read_4_threads/boost_shared_mutex")->Threads(4)->UseRealTime();
BENCHMARK(exclusive<norq_std::Lock>)->Name("lock/uncontended/ours");
BENCHMARK(exclusive<std::recursive_mutex>)->Name("lock/uncontended/std_recursive_mutex");
BENCHMARK(exclusive<norq_std::Lock>)->Name("lock/contended_4_threads/ours")->Threads(4)->UseRealTime();
BENCHMARK(exclusive<std::recursive_mutex>)
    ->Name("lock/contended_4_threads/std_recursive_mutex")
    ->Threads(4)
    ->UseRealTime();

} // namespace

// A program with one thread lets the C++ runtime skip its atomics; real ones have several.
int main(int argc, char** argv) {
    std::thread second([] {});
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    second.join();
    return 0;
}

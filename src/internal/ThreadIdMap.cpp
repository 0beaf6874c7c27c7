#include "internal/ThreadIdMap.h"

#include "platform/CurrentThread.h"

#include <atomic>
#include <exception>

namespace norq_std_internal {

namespace {

/// Rises when the map is cleared; a cached id holds for the generation that it was taken in.
std::atomic<std::uint32_t> generation{1};

struct CachedId {
    std::uint32_t generation;
    std::uint64_t id;
};

[[gnu::tls_model("initial-exec")]] constinit thread_local CachedId cached{};

} // namespace

std::uint64_t currentThreadId() noexcept {
    if (cached.generation == generation.load(std::memory_order_relaxed)) [[likely]]
        return cached.id;
    try {
        return ThreadIdMap::getInstance().enterCurrentThread();
    } catch (const std::exception&) {
        return platform::currentThreadNumber();
    }
}

ThreadIdMap& ThreadIdMap::getInstance() {
    static ThreadIdMap& instance = *new ThreadIdMap;
    return instance;
}

ThreadIdMap::ThreadIdMap() {
    pthread_atfork([] { getInstance().mutex.lock(); }, [] { getInstance().mutex.unlock(); },
                   [] {
                       getInstance().ids.clear();
                       generation.fetch_add(1, std::memory_order_relaxed);
                       getInstance().mutex.unlock();
                   });
}

std::uint64_t ThreadIdMap::getId(pthread_t thread) {
    if (thread == pthread_t{})
        return NoThreadId;
    if (pthread_equal(thread, pthread_self()) != 0)
        return currentThreadId();
    const std::lock_guard<std::mutex> guard(mutex);
    const auto found = ids.find(thread);
    return found != ids.end() ? found->second : NoThreadId;
}

std::uint64_t ThreadIdMap::enterCurrentThread() {
    const std::uint64_t id = platform::currentThreadNumber();
    const std::lock_guard<std::mutex> guard(mutex);
    // A thread that ended without leaving may have had the same handle: its number is not this thread's.
    ids.insert_or_assign(pthread_self(), id);
    cached = {generation.load(std::memory_order_relaxed), id};
    return id;
}

void ThreadIdMap::removeCurrentThread() {
    const std::lock_guard<std::mutex> guard(mutex);
    ids.erase(pthread_self());
    cached = {};
}

void ThreadIdMap::clear() {
    const std::lock_guard<std::mutex> guard(mutex);
    ids.clear();
    generation.fetch_add(1, std::memory_order_relaxed);
}

} // namespace norq_std_internal

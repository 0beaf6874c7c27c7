#include "internal/ReadWriteLockPimpl.h"

#include "exception/NorqException.h"
#include "internal/ReaderTable.h"
#include "platform/CancellationShield.h"

#include <limits>
#include <optional>

#include <pthread.h>

namespace norq_std_internal {

using namespace norq_std;

namespace {

constexpr std::uint32_t RecursionLimit = std::numeric_limits<std::uint32_t>::max();

std::atomic<std::uint64_t> nextNumber{1};

[[gnu::tls_model("initial-exec")]] constinit thread_local ReaderTable readers{};

std::uintptr_t currentThread() noexcept { return static_cast<std::uintptr_t>(pthread_self()); }

} // namespace

/// One thread that waits for permits; its condition has that one waiter for life.
struct ReadWriteLockPimpl::Collector {
    explicit Collector(std::uint32_t needed)
        : count(needed) {}

    const std::uint32_t count;
    std::condition_variable enough;
};

ReadWriteLockPimpl::ReadWriteLockPimpl(int readerCount) noexcept
    : state(static_cast<std::uint64_t>(readerCount))
    , number(nextNumber.fetch_add(1, std::memory_order_relaxed))
    , maxReaders(readerCount) {}

bool ReadWriteLockPimpl::isWriter() const noexcept {
    // Only the thread itself ever stores its own handle, so what it reads here about itself is never stale.
    return writer.load(std::memory_order_relaxed) == currentThread();
}

void ReadWriteLockPimpl::readLock() {
    if (ReaderTable::Entry* entry = readers.find(number)) {
        if (entry->count == RecursionLimit)
            throw NorqOutOfResourcesException(u"readLock failed: Recursion limit for this thread has been reached.");
        ++entry->count;
        return;
    }
    readers.reserve();
    if (!tryTakeOne() && !isWriter())
        collect(1);
    readers.insert(number, 1);
}

void ReadWriteLockPimpl::readUnlock() {
    ReaderTable::Entry* const entry = readers.find(number);
    if (entry == nullptr)
        throw NorqAccessException(u"readUnlock failed: The current thread does not own the lock.");
    if (--entry->count != 0)
        return;
    readers.erase(entry);
    if (!isWriter())
        giveBack(1);
}

void ReadWriteLockPimpl::writeLock() {
    if (!isWriter()) {
        const ReaderTable::Entry* const entry = readers.find(number);
        const auto all = static_cast<std::uint64_t>(maxReaders);
        std::uint64_t expected = entry != nullptr ? all - 1 : all;
        if (state.compare_exchange_strong(expected, 0, std::memory_order_acquire, std::memory_order_relaxed))
            becomeWriter();
        else
            upgrade(entry != nullptr ? entry->count : 0);
    }
    if (writeCount == RecursionLimit)
        throw NorqOutOfResourcesException(u"writeLock failed: The recursion limit for this lock has been exceeded.");
    ++writeCount;
}

void ReadWriteLockPimpl::writeUnlock() {
    if (!isWriter())
        throw NorqAccessException(u"writeUnlock failed: The current thread does not own the lock.");
    if (--writeCount != 0)
        return;
    writer.store(0, std::memory_order_relaxed);
    const auto all = static_cast<std::uint32_t>(maxReaders);
    giveBack(readers.find(number) != nullptr ? all - 1 : all);
}

/// Takes all permits the slow way, after giving back the one that a reader holds.
void ReadWriteLockPimpl::upgrade(std::uint32_t readCount) {
    // A guard of the reader's gives back what it holds, also when the thread is cancelled: not before it holds it
    // again.
    std::optional<platform::CancellationShield> shield;
    if (readCount != 0) {
        shield.emplace();
        readers.erase(readers.find(number));
        giveBack(1);
    }
    const std::lock_guard<std::mutex> writerGuard(writerGate);
    collect(static_cast<std::uint32_t>(maxReaders));
    becomeWriter();
    if (readCount != 0)
        readers.insert(number, readCount);
}

void ReadWriteLockPimpl::becomeWriter() noexcept { writer.store(currentThread(), std::memory_order_relaxed); }

bool ReadWriteLockPimpl::tryTakeOne() noexcept {
    std::uint64_t seen = state.load(std::memory_order_relaxed);
    while (seen != 0 && (seen & Closed) == 0)
        if (state.compare_exchange_weak(seen, seen - 1, std::memory_order_acquire, std::memory_order_relaxed))
            return true;
    return false;
}

void ReadWriteLockPimpl::collect(std::uint32_t count) {
    const std::lock_guard<std::mutex> entryGuard(entryGate);
    std::unique_lock<std::mutex> guard(handOver);
    state.fetch_or(Closed, std::memory_order_acquire);

    // Opens the entry again, also when the waiting thread is cancelled.
    struct Opening {
        ReadWriteLockPimpl& lock;
        std::uint32_t taken = 0;
        ~Opening() {
            lock.collector = nullptr;
            lock.state.store(lock.freePermits() - taken, std::memory_order_release);
        }
    } opening{*this};

    Collector self(count);
    collector = &self;
    while (freePermits() < count)
        self.enough.wait(guard);
    opening.taken = count;
}

void ReadWriteLockPimpl::giveBack(std::uint32_t count) noexcept {
    std::uint64_t seen = state.load(std::memory_order_relaxed);
    while ((seen & Closed) == 0)
        if (state.compare_exchange_weak(seen, seen + count, std::memory_order_release, std::memory_order_relaxed))
            return;

    const std::lock_guard<std::mutex> guard(handOver);
    // The entry may have been opened meanwhile, so that others change the count by themselves.
    const std::uint64_t before = state.fetch_add(count, std::memory_order_acq_rel);
    if (collector != nullptr && static_cast<std::uint32_t>(before) + count >= collector->count)
        collector->enough.notify_one();
}

} // namespace norq_std_internal

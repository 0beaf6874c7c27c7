#pragma once

#include "base/Export.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace norq_std_internal {

/// The permits of a `ReadWriteLock` and who holds them. A reader holds one permit, a writer all of them.
///
/// `state` is the number of free permits and, in its top bit, whether the entry is closed. While the entry is open,
/// permits are taken and given back by one compare-and-swap. Whoever does not get its permits at once takes
/// `entryGate`, closes the entry and collects; from then on permits come back under `handOver`, whose holder alone
/// changes `state`, until the collector has what it needs and opens the entry again. Since nobody passes a closed
/// entry, the collector may leave the permits where they are until there are enough.
///
/// Who reads how often is kept by each thread for itself, keyed by the lock's number, which is never used twice: a
/// table that outlives a lock cannot mistake a later one at the same address for it.
///
/// Lock order: writerGate, entryGate, handOver. A thread that gives back permits touches nothing after its
/// compare-and-swap or its release of handOver, so the next owner may destroy the lock.
class NORQSTD_EXPORT ReadWriteLockPimpl {
public:
    explicit ReadWriteLockPimpl(int readerCount) noexcept;
    ReadWriteLockPimpl(const ReadWriteLockPimpl&) = delete;
    ReadWriteLockPimpl& operator=(const ReadWriteLockPimpl&) = delete;

    void readLock();
    void readUnlock();
    void writeLock();
    void writeUnlock();
    int getMaxReaders() const noexcept { return maxReaders; }

    /// The permits that nobody holds, as of this moment. For tests.
    std::uint32_t freePermits() const noexcept {
        return static_cast<std::uint32_t>(state.load(std::memory_order_relaxed));
    }
    /// Whether a thread is collecting permits. For tests.
    bool isEntryClosed() const noexcept { return (state.load(std::memory_order_relaxed) & Closed) != 0; }

private:
    static constexpr std::uint64_t Closed = std::uint64_t{1} << 63;

    struct Collector;

    bool isWriter() const noexcept;
    bool tryTakeOne() noexcept;
    void collect(std::uint32_t count);
    void giveBack(std::uint32_t count) noexcept;
    void upgrade(std::uint32_t readCount);
    void becomeWriter() noexcept;

    std::atomic<std::uint64_t> state;
    std::atomic<std::uintptr_t> writer{0}; ///< handle of the owner of the write lock, 0 if none
    const std::uint64_t number;
    const int maxReaders;
    std::uint32_t writeCount = 0;   ///< touched by the writer alone
    std::mutex writerGate;          ///< writers pass one at a time
    std::mutex entryGate;           ///< held by whoever is collecting permits, reader or writer
    std::mutex handOver;            ///< guards state while the entry is closed, and collector
    Collector* collector = nullptr; ///< on the stack of the thread that is parked, null if none
};

} // namespace norq_std_internal

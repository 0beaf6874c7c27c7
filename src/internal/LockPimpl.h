#pragma once

#include "base/Export.h"
#include "internal/WaitablePimpl.h"

#include <atomic>
#include <cstdint>

#include <semaphore.h>

namespace norq_std_internal {

/// Throws the exception of the family for a result of the threads library that is a failure.
NORQSTD_EXPORT void checkMutexResult(int result);

/// A waitable that is a lock as well. The lock lies in the state word, so that giving it up and giving its signal are
/// one step, after which nothing of the object is touched: the next holder may destroy it.
///
/// HELD is the lock itself. Who does not get it tries a few times more and then counts itself as a sleeper and takes a
/// permit of the semaphore. A release counts one sleeper off, adds its permit, and sets AWAKE: somebody is on its way,
/// so that further releases need not wake another. Threads that try again may set AWAKE for themselves.
class alignas(64) LockPimpl : public WaitablePimpl {
public:
    static constexpr std::uint64_t NO_OWNER = 0xFFFFFFFF;

    LockPimpl();

    bool tryAcquire() {
        std::uint64_t seen = USUAL;
        while (!(seen & HELD))
            if (word.compare_exchange_weak(seen, seen | HELD, std::memory_order_acquire, std::memory_order_relaxed))
                return true;
        return false;
    }
    void acquire() {
        if (!tryAcquire())
            acquireContended();
    }
    /// Gives the lock's signal as well.
    void giveUp() {
        std::uint64_t seen = USUAL | HELD;
        while (!(seen & (LISTED | SLEEPERS)))
            if (word.compare_exchange_weak(seen, (seen & ~HELD) | SIGNALED, std::memory_order_acq_rel,
                                           std::memory_order_relaxed))
                return;
        giveUpContended(seen);
    }

    /// Depth of recursion, 0 when free; touched by the holder alone.
    std::uint32_t count = 0;
    /// The holder's `lockOwner`, 0 when free. Others read it only to learn that they are not the holder.
    std::atomic<std::uint64_t> owner = 0;
    /// The holder's numeric id, for whoever looks at a process that hangs.
    std::atomic<std::uint64_t> ownerId = NO_OWNER;

private:
    static constexpr std::uint64_t HELD = 4;
    static constexpr std::uint64_t AWAKE = 8;
    static constexpr std::uint64_t SLEEPER = 16;
    static constexpr std::uint64_t SLEEPERS = OWNER - SLEEPER;
    /// What the word of a free lock mostly is: a first guess that saves the look.
    static constexpr std::uint64_t USUAL = SIGNALED | OWNER;

    ~LockPimpl() override { sem_destroy(&permits); }

    void acquireContended();
    void giveUpContended(std::uint64_t seen);
    void sleep();

    sem_t permits;
};

} // namespace norq_std_internal

#include "internal/LockPimpl.h"

#include "exception/NorqException.h"
#include "internal/SpinPause.h"
#include "platform/CancellationShield.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

// The argument for this stands in docs/waits.md, "The lock".

namespace norq_std_internal {

namespace {

// About as long as it takes to put a thread to sleep and wake it. The pauses grow, so that the holder, who needs the
// cache line to give the lock up, is disturbed ever less.
constexpr int MAX_TRIES = 8;
constexpr int MAX_PAUSES = 32;

} // namespace

void checkMutexResult(int result) {
    using namespace norq_std;
    switch (result) {
    case 0:
    case EBUSY:
        return;
    case EPERM:
        throw NorqAccessException(u"The current thread does not own the lock.", result);
    case EAGAIN:
        throw NorqOutOfResourcesException(u"The recursion limit for this lock has been exceeded.", result);
    case EINVAL:
        throw NorqIllegalStateException(
            u"Lock was in an invalid state, check that the mutex has been initialized correctly.", result);
    case EDEADLK:
        throw NorqDeadlockException(u"Locking this mutex would cause a deadlock.", result);
    default:
        std::printf("Other error: %d\n", result);
    }
}

LockPimpl::LockPimpl()
    : WaitablePimpl(true, false) {
    sem_init(&permits, 0, 0);
}

void LockPimpl::sleep() {
    const platform::CancellationShield shield;
    int result = 0;
    do
        result = sem_wait(&permits) == 0 ? 0 : errno;
    while (result == EINTR);
    checkMutexResult(result);
}

void LockPimpl::acquireContended() {
    bool isAwake = false; // AWAKE stands for this thread
    int tries = 0;
    std::uint64_t seen = word.load(std::memory_order_relaxed);
    for (;;) {
        if ((seen & HELD) && tries < MAX_TRIES) {
            if (!isAwake && (seen & SLEEPERS) && !(seen & AWAKE))
                isAwake = word.compare_exchange_weak(seen, seen | AWAKE, std::memory_order_relaxed);
            spinPause(std::min(1 << tries++, MAX_PAUSES));
            seen = word.load(std::memory_order_relaxed);
            continue;
        }
        std::uint64_t next = (seen & HELD) ? seen + SLEEPER : seen | HELD;
        if (isAwake)
            next &= ~AWAKE;
        if (!word.compare_exchange_weak(seen, next, std::memory_order_acquire, std::memory_order_relaxed))
            continue;
        if (!(seen & HELD))
            return;
        sleep();
        isAwake = true;
        tries = 0;
        seen = word.load(std::memory_order_relaxed);
    }
}

void LockPimpl::giveUpContended(std::uint64_t seen) {
    std::uint64_t next = 0;
    bool wakes = false;
    do {
        wakes = (seen & SLEEPERS) && !(seen & AWAKE);
        next = seen & ~HELD;
        if (wakes)
            next = (next - SLEEPER) | AWAKE;
        next = (seen & LISTED) ? next + OWNER : next | SIGNALED;
    } while (!word.compare_exchange_weak(seen, next, std::memory_order_acq_rel, std::memory_order_relaxed));
    // The object lives on: the sleeper that was counted off is a thread inside of it, until it gets this permit.
    if (wakes)
        sem_post(&permits);
    if (seen & LISTED)
        signalAndRelease();
}

} // namespace norq_std_internal

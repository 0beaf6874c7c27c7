#include "concurrency/Lock.h"

#include "exception/NorqException.h"
#include "internal/LockPimpl.h"
#include "internal/ThreadIdMap.h"
#include "internal/WaitablePimpl.h"

#include <cerrno>
#include <cstdio>
#include <limits>

namespace norq_std_internal {

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

} // namespace norq_std_internal

namespace norq_std {

using norq_std_internal::checkMutexResult;
using norq_std_internal::currentThreadId;
using norq_std_internal::LockPimpl;

Lock::Lock()
    : Waitable(true, false)
    , lockPimpl(std::make_unique<LockPimpl>()) {}

Lock::~Lock() = default;

WString Lock::toString() const { return u"Lock{}"; }

// The analysis cannot follow recursion.
void Lock::lock() NORQ_NO_THREAD_SAFETY_ANALYSIS {
    LockPimpl& state = *lockPimpl;
    const std::uint64_t self = currentThreadId();
    if (state.ownerId.load(std::memory_order_relaxed) != self) {
        if (const int result = state.mutex.lock(); result != 0) [[unlikely]]
            checkMutexResult(result);
        state.ownerId.store(self, std::memory_order_relaxed);
    }
    if (state.count == std::numeric_limits<std::uint32_t>::max()) [[unlikely]]
        throw NorqOutOfResourcesException(u"The recursion limit for this lock has been exceeded.");
    ++state.count;
}

void Lock::unlock() NORQ_NO_THREAD_SAFETY_ANALYSIS {
    LockPimpl& state = *lockPimpl;
    if (state.ownerId.load(std::memory_order_relaxed) != currentThreadId()) [[unlikely]]
        throw NorqAccessException(u"The current thread does not own the lock.");
    if (--state.count != 0)
        return;
    // The next holder may destroy this object before the signal is given, so from here on nothing of it is touched but
    // the record that is retained.
    norq_std_internal::WaitablePimpl& waitable = *pimpl;
    waitable.retain();
    state.ownerId.store(LockPimpl::NO_OWNER, std::memory_order_relaxed);
    if (const int result = state.mutex.unlock(); result != 0) [[unlikely]] {
        waitable.release();
        checkMutexResult(result);
        return;
    }
    waitable.signalAndRelease();
}

bool Lock::tryLock() NORQ_NO_THREAD_SAFETY_ANALYSIS {
    LockPimpl& state = *lockPimpl;
    const std::uint64_t self = currentThreadId();
    const std::uint64_t owner = state.ownerId.load(std::memory_order_relaxed);
    if (owner == LockPimpl::NO_OWNER) {
        if (const int result = state.mutex.tryLock(); result != 0) {
            checkMutexResult(result);
            return false;
        }
        state.ownerId.store(self, std::memory_order_relaxed);
    } else if (owner != self) {
        return false;
    }
    ++state.count;
    return true;
}

} // namespace norq_std

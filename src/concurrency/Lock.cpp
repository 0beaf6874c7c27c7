#include "concurrency/Lock.h"

#include "exception/NorqException.h"
#include "internal/LockPimpl.h"
#include "internal/LockWatch.h"
#include "internal/ThreadIdMap.h"

#include <limits>

namespace norq_std_internal {

constinit std::atomic<const LockWatch*> lockWatch{nullptr};

namespace {

/// Calls the watch, if the library has one.
template <class... Given, class... A>
void tellWatch([[maybe_unused]] void (*LockWatch::*what)(Given...), [[maybe_unused]] A... arguments) {
#if defined(__SANITIZE_THREAD__)
    if (const LockWatch* const watch = lockWatch.load(std::memory_order_relaxed))
        (watch->*what)(arguments...);
#endif
}

} // namespace
} // namespace norq_std_internal

namespace norq_std {

using norq_std_internal::currentThreadId;
using norq_std_internal::LockPimpl;
using norq_std_internal::LockWatch;
using norq_std_internal::tellWatch;

Lock::Lock()
    : Waitable(*new LockPimpl) {}

Lock::~Lock() { tellWatch(&LockWatch::destroyed, this); }

WString Lock::toString() const { return u"Lock{}"; }

// The analysis cannot follow recursion.
void Lock::lock() NORQ_NO_THREAD_SAFETY_ANALYSIS {
    auto& state = static_cast<LockPimpl&>(*pimpl);
    const std::uint64_t self = currentThreadId();
    if (state.ownerId.load(std::memory_order_relaxed) != self) {
        state.acquire();
        state.ownerId.store(self, std::memory_order_relaxed);
    }
    if (state.count == std::numeric_limits<std::uint32_t>::max()) [[unlikely]]
        throw NorqOutOfResourcesException(u"The recursion limit for this lock has been exceeded.");
    if (++state.count == 1)
        tellWatch(&LockWatch::taken, this, false);
}

void Lock::unlock() NORQ_NO_THREAD_SAFETY_ANALYSIS {
    auto& state = static_cast<LockPimpl&>(*pimpl);
    if (state.ownerId.load(std::memory_order_relaxed) != currentThreadId()) [[unlikely]]
        throw NorqAccessException(u"The current thread does not own the lock.");
    if (--state.count != 0)
        return;
    tellWatch(&LockWatch::givenUp, this);
    state.ownerId.store(LockPimpl::NO_OWNER, std::memory_order_relaxed);
    state.giveUp();
}

bool Lock::tryLock() NORQ_NO_THREAD_SAFETY_ANALYSIS {
    auto& state = static_cast<LockPimpl&>(*pimpl);
    const std::uint64_t self = currentThreadId();
    const std::uint64_t owner = state.ownerId.load(std::memory_order_relaxed);
    if (owner == LockPimpl::NO_OWNER) {
        if (!state.tryAcquire())
            return false;
        state.ownerId.store(self, std::memory_order_relaxed);
    } else if (owner != self) {
        return false;
    }
    if (++state.count == 1)
        tellWatch(&LockWatch::taken, this, true);
    return true;
}

} // namespace norq_std

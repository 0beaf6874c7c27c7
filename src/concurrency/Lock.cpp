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

std::atomic<std::uint64_t> lastOwner{0};

[[gnu::tls_model("initial-exec")]] constinit thread_local std::uint64_t ownNumber = 0;

/// The calling thread's number as an owner of locks, never used twice. In a forked child the thread that forked keeps
/// it, and with it the locks that it holds, while its numeric id becomes another.
std::uint64_t lockOwner() {
    if (ownNumber == 0) [[unlikely]]
        ownNumber = lastOwner.fetch_add(1, std::memory_order_relaxed) + 1;
    return ownNumber;
}

void setOwner(LockPimpl& state, std::uint64_t owner) {
    state.owner.store(owner, std::memory_order_relaxed);
    state.ownerId.store(currentThreadId(), std::memory_order_relaxed);
}

} // namespace
} // namespace norq_std_internal

namespace norq_std {

using norq_std_internal::lockOwner;
using norq_std_internal::LockPimpl;
using norq_std_internal::LockWatch;
using norq_std_internal::setOwner;
using norq_std_internal::tellWatch;

Lock::Lock()
    : Waitable(*new LockPimpl) {}

Lock::~Lock() { tellWatch(&LockWatch::destroyed, this); }

WString Lock::toString() const { return u"Lock{}"; }

// The analysis cannot follow recursion.
void Lock::lock() NORQ_NO_THREAD_SAFETY_ANALYSIS {
    auto& state = static_cast<LockPimpl&>(*pimpl);
    const std::uint64_t self = lockOwner();
    if (state.owner.load(std::memory_order_relaxed) != self) {
        state.acquire();
        setOwner(state, self);
    }
    if (state.count == std::numeric_limits<std::uint32_t>::max()) [[unlikely]]
        throw NorqOutOfResourcesException(u"The recursion limit for this lock has been exceeded.");
    if (++state.count == 1)
        tellWatch(&LockWatch::taken, this, false);
}

void Lock::unlock() NORQ_NO_THREAD_SAFETY_ANALYSIS {
    auto& state = static_cast<LockPimpl&>(*pimpl);
    if (state.owner.load(std::memory_order_relaxed) != lockOwner()) [[unlikely]]
        throw NorqAccessException(u"The current thread does not own the lock.");
    if (--state.count != 0)
        return;
    tellWatch(&LockWatch::givenUp, this);
    state.owner.store(0, std::memory_order_relaxed);
    state.ownerId.store(LockPimpl::NO_OWNER, std::memory_order_relaxed);
    state.giveUp();
}

bool Lock::tryLock() NORQ_NO_THREAD_SAFETY_ANALYSIS {
    auto& state = static_cast<LockPimpl&>(*pimpl);
    const std::uint64_t self = lockOwner();
    const std::uint64_t owner = state.owner.load(std::memory_order_relaxed);
    if (owner == 0) {
        if (!state.tryAcquire())
            return false;
        setOwner(state, self);
    } else if (owner != self) {
        return false;
    }
    if (++state.count == 1)
        tellWatch(&LockWatch::taken, this, true);
    return true;
}

} // namespace norq_std

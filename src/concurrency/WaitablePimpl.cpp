#include "internal/WaitablePimpl.h"

#include "internal/DeferredCancellation.h"
#include "internal/SubscriptionConditionPimpl.h"

// The argument for all of this stands in docs/waits.md. The rules that the code keeps:
//
// - An object's mutex may be held while a condition's mutex is taken, never the other way round. A thread holds at most
//   one of each.
// - Who wakes a waiter takes it off the list first, and touches the waiter's memory for the last time when it releases
//   the condition's mutex. The subscription that it signaled is the waiter's from then on.
// - Memory of the object is touched after a release of its mutex by owners alone.

namespace norq_std_internal {

using norq_std::Subscription;
using norq_std::SubscriptionState;

WaitablePimpl::WaitablePimpl(bool resets, bool signaled)
    : word(OWNER | (signaled ? SIGNALED : 0))
    , autoReset(resets) {}

void WaitablePimpl::setSignaled(bool value) {
    if (value)
        word.fetch_or(SIGNALED, std::memory_order_acq_rel);
    else
        word.fetch_and(~SIGNALED, std::memory_order_acq_rel);
}

bool WaitablePimpl::tryConsume() {
    std::uint64_t seen = word.load(std::memory_order_acquire);
    while (seen & SIGNALED) {
        if (!isAutoReset())
            return true;
        if (word.compare_exchange_weak(seen, seen & ~SIGNALED, std::memory_order_acq_rel, std::memory_order_acquire))
            return true;
    }
    return false;
}

void WaitablePimpl::signal() {
    // Also where the flag is set already it is written again: the thread that uses up the signal must see what this one
    // wrote before it.
    std::uint64_t seen = word.load(std::memory_order_relaxed);
    while (!(seen & LISTED))
        if (word.compare_exchange_weak(seen, seen | SIGNALED, std::memory_order_acq_rel, std::memory_order_relaxed))
            return;
    signalListed();
}

void WaitablePimpl::signalAndRelease() {
    std::uint64_t seen = word.load(std::memory_order_relaxed);
    while (!(seen & LISTED) && seen >= 2 * OWNER)
        if (word.compare_exchange_weak(seen, (seen | SIGNALED) - OWNER, std::memory_order_acq_rel,
                                       std::memory_order_relaxed))
            return;
    if (seen & LISTED)
        signalListed();
    release();
}

void WaitablePimpl::signalListed() {
    const DeferredCancellation deferred;
    const PThreadMutexLock guard(mutex);
    if (isAutoReset() && first != nullptr) {
        // Before LISTED falls: from then on a signal may set the flag without the mutex.
        if (isSignaled())
            setSignaled(false);
        wakeFirst(norq_std::SIGNALED);
    } else {
        word.fetch_or(SIGNALED, std::memory_order_acq_rel);
        while (first != nullptr)
            wakeFirst(norq_std::SIGNALED);
    }
}

void WaitablePimpl::pulse() {
    const DeferredCancellation deferred;
    const PThreadMutexLock guard(mutex);
    while (first != nullptr)
        wakeFirst(norq_std::SIGNALED);
}

void WaitablePimpl::destroyAndRelease() {
    {
        const PThreadMutexLock guard(mutex);
        while (first != nullptr)
            wakeFirst(norq_std::DESTROYED);
    }
    release();
}

void WaitablePimpl::subscribe(Subscription& subscription) {
    const PThreadMutexLock guard(mutex);
    if (subscription.listedOn != nullptr)
        return;
    std::uint64_t seen = word.load(std::memory_order_acquire);
    for (;;) {
        if (seen & SIGNALED) {
            if (tryConsume()) {
                subscription.state = norq_std::SIGNALED;
                subscription.settled = true;
                return;
            }
            seen = word.load(std::memory_order_acquire);
        } else if (word.compare_exchange_weak(seen, seen | LISTED, std::memory_order_acq_rel,
                                              std::memory_order_acquire)) {
            append(subscription);
            return;
        }
    }
}

void WaitablePimpl::unsubscribe(Subscription& subscription) {
    const PThreadMutexLock guard(mutex);
    if (subscription.listedOn == this)
        remove(subscription);
}

std::size_t WaitablePimpl::getSubscriberCount() {
    const PThreadMutexLock guard(mutex);
    std::size_t count = 0;
    for (const Subscription* s = first; s != nullptr; s = s->next)
        ++count;
    return count;
}

void WaitablePimpl::append(Subscription& subscription) {
    subscription.listedOn = this;
    subscription.next = nullptr;
    subscription.previous = last;
    (last != nullptr ? last->next : first) = &subscription;
    last = &subscription;
}

void WaitablePimpl::remove(Subscription& subscription) {
    (subscription.previous != nullptr ? subscription.previous->next : first) = subscription.next;
    (subscription.next != nullptr ? subscription.next->previous : last) = subscription.previous;
    subscription.listedOn = nullptr;
    if (first == nullptr)
        word.fetch_and(~LISTED, std::memory_order_acq_rel);
}

void WaitablePimpl::wakeFirst(SubscriptionState state) {
    Subscription& subscription = *first;
    remove(subscription);
    SubscriptionConditionPimpl& condition = *subscription.condition->pimpl;
    const PThreadMutexLock guard(condition.mutex);
    subscription.state = state;
    if (condition.awaited == nullptr || condition.awaited == &subscription)
        condition.signal();
}

} // namespace norq_std_internal

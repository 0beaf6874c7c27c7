#include "internal/Wait.h"

#include "concurrency/Waitable.h"
#include "exception/NorqException.h"
#include "internal/NumberText.h"
#include "internal/WaitablePimpl.h"

#include <new>

namespace norq_std_internal {

using norq_std::Subscription;
using norq_std::TimeSpec;

namespace {

[[noreturn]] void throwDestroyed(std::size_t index) {
    throw norq_std::NorqWaitObjectDestroyedException(u"Object [" + numberText(index) + u"] was destroyed!");
}

} // namespace

Wait::Wait(std::size_t capacity)
    : allocated(capacity > INLINE_CAPACITY ? new std::byte[capacity * sizeof(Subscription)] : nullptr) {
    subscriptions = reinterpret_cast<Subscription*>(allocated ? allocated.get() : inlined);
}

Wait::~Wait() noexcept(false) {
    for (std::size_t i = 0; i < count; ++i) {
        Subscription& subscription = subscriptions[i];
        subscription.leave();
        if (cancelled && subscription.state == norq_std::SIGNALED && subscription.object->isAutoReset())
            subscription.object->signal();
        subscription.~Subscription();
    }
}

void Wait::subscribe(norq_std::Waitable& object) {
    auto* subscription = new (subscriptions + count) Subscription(sharedCondition, object);
    ++count;
    // Not on the list means signaled by itself, which nobody else can see; what is on it is looked at under the lock.
    if (subscription->settled)
        pending = true;
}

void Wait::adopt(norq_std::Waitable& object) {
    new (subscriptions + count) Subscription(sharedCondition, object, norq_std::SIGNALED);
    ++count;
}

bool Wait::sleep(const TimeSpec& deadline) {
    cancelled = true;
    const bool result = native.sleep(deadline);
    cancelled = false;
    return result;
}

void Wait::settle() {
    for (std::size_t i = 0; i < count; ++i)
        if (subscriptions[i].state != norq_std::SUBSCRIBED)
            subscriptions[i].settled = true;
}

void Wait::leave() {
    for (std::size_t i = 0; i < count; ++i)
        subscriptions[i].leave();
}

std::int32_t Wait::getWaitResult() const {
    for (std::size_t i = 0; i < count; ++i) {
        if (!subscriptions[i].settled || subscriptions[i].state == norq_std::SUBSCRIBED)
            continue;
        if (subscriptions[i].state == norq_std::DESTROYED)
            throwDestroyed(i);
        return static_cast<std::int32_t>(i);
    }
    return -1;
}

std::int32_t Wait::any(const TimeSpec& deadline) {
    {
        const PThreadMutexLock guard(native.mutex);
        while (!pending && !native.signaled && sleep(deadline)) {
        }
        settle();
    }
    if (const std::int32_t result = getWaitResult(); result >= 0)
        return result;
    // A signal that came between the deadline and the departure from the object is reported, not lost.
    leave();
    return getWaitResult();
}

std::int32_t Wait::all(const TimeSpec& deadline) {
    bool late = false;
    for (std::size_t i = 0; i < count; ++i) {
        Subscription& subscription = subscriptions[i];
        if (!subscription.settled) {
            const PThreadMutexLock guard(native.mutex);
            native.awaited = &subscription;
            while (!late && subscription.state == norq_std::SUBSCRIBED)
                late = !sleep(deadline);
            subscription.settled = subscription.state != norq_std::SUBSCRIBED;
        }
        if (late)
            leave();
        if (subscription.state == norq_std::DESTROYED)
            throwDestroyed(i);
        if (subscription.state == norq_std::SUBSCRIBED)
            return -1;
    }
    return 0;
}

} // namespace norq_std_internal

#pragma once

#include "base/Object.h"
#include "base/ThreadAnnotations.h"
#include "concurrency/SubscriptionCondition.h"

#include <memory>

namespace norq_std_internal {
class WaitablePimpl;
class Wait;
} // namespace norq_std_internal

namespace norq_std {

class Waitable;

enum SubscriptionState : int {
    SUBSCRIBED = 0, ///< nothing has happened yet
    SIGNALED = 1,   ///< the object gave this waiter its signal
    DESTROYED = 2,  ///< the object was destroyed while this waiter was on its list
};

/// One waiter's entry on one object, for the time of one wait. Part of the waits; programs wait through `Concurrency`.
///
/// It is created and destroyed without the condition's lock; its state is read and written with that lock held. It
/// moves once, from SUBSCRIBED to one of the others, and is off the object's list from then on. It belongs to the
/// thread that waits.
class NORQSTD_EXPORT NORQ_CAPABILITY("condition") Subscription : public Object {
public:
    /// Subscribes. An object that is signaled gives its signal at once.
    Subscription(const std::shared_ptr<SubscriptionCondition>& meetingPoint, Waitable& waitable);
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    /// Leaves no trace on the object, which may be gone by now.
    ~Subscription() override;

    WString toString() const override;

    void lock() NORQ_ACQUIRE();
    void unlock() NORQ_RELEASE();
    void signal() NORQ_REQUIRES(this);
    bool wait(const TimeSpec& deadline) NORQ_REQUIRES(this);

    SubscriptionState getState() const { return state; }
    void setState(SubscriptionState value) { state = value; }

private:
    friend class Waitable;
    friend class norq_std_internal::WaitablePimpl;
    friend class norq_std_internal::Wait;

    /// For an object whose signal the wait holds already.
    Subscription(const std::shared_ptr<SubscriptionCondition>& meetingPoint, Waitable& waitable,
                 SubscriptionState initialState);

    void leave();

    std::shared_ptr<SubscriptionCondition> condition;
    SubscriptionState state = SUBSCRIBED;
    bool settled = false; ///< the waiter has seen the last of the signalers; touched by the waiter alone
    norq_std_internal::WaitablePimpl* const object;

    // The list of the object; guarded by its mutex.
    norq_std_internal::WaitablePimpl* listedOn = nullptr;
    Subscription* previous = nullptr;
    Subscription* next = nullptr;
};

} // namespace norq_std

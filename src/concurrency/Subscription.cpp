#include "concurrency/Subscription.h"

#include "concurrency/Waitable.h"
#include "internal/NumberText.h"
#include "internal/WaitablePimpl.h"

namespace norq_std {

Subscription::Subscription(const std::shared_ptr<SubscriptionCondition>& meetingPoint, Waitable& waitable)
    : condition(meetingPoint)
    , object(waitable.pimpl) {
    object->retain();
    object->subscribe(*this);
}

Subscription::Subscription(const std::shared_ptr<SubscriptionCondition>& meetingPoint, Waitable& waitable,
                           SubscriptionState initialState)
    : condition(meetingPoint)
    , state(initialState)
    , settled(true)
    , object(waitable.pimpl) {
    object->retain();
}

Subscription::~Subscription() {
    leave();
    object->release();
}

void Subscription::leave() {
    if (settled)
        return;
    object->unsubscribe(*this);
    settled = true;
}

WString Subscription::toString() const {
    return u"Subscription{state=" + norq_std_internal::numberText(static_cast<int>(state)) + u"}";
}

// The analysis does not see that this lock and the condition's are one.
void Subscription::lock() NORQ_NO_THREAD_SAFETY_ANALYSIS { condition->lock(); }

void Subscription::unlock() NORQ_NO_THREAD_SAFETY_ANALYSIS { condition->unlock(); }

void Subscription::signal() NORQ_NO_THREAD_SAFETY_ANALYSIS { condition->signal(); }

bool Subscription::wait(const TimeSpec& deadline) NORQ_NO_THREAD_SAFETY_ANALYSIS { return condition->wait(deadline); }

} // namespace norq_std

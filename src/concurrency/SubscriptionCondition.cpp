#include "concurrency/SubscriptionCondition.h"

#include "internal/SubscriptionConditionPimpl.h"

namespace norq_std {

SubscriptionCondition::SubscriptionCondition()
    : pimpl(std::make_shared<norq_std_internal::SubscriptionConditionPimpl>()) {}

SubscriptionCondition::SubscriptionCondition(norq_std_internal::SubscriptionConditionPimpl& borrowed)
    : pimpl(std::shared_ptr<void>(), &borrowed) {}

SubscriptionCondition::~SubscriptionCondition() = default;

WString SubscriptionCondition::toString() const { return u"SubscriptionCondition{}"; }

// The analysis does not see that this lock and the mutex behind it are one.
void SubscriptionCondition::lock() NORQ_NO_THREAD_SAFETY_ANALYSIS { pimpl->mutex.lock(); }

void SubscriptionCondition::unlock() NORQ_NO_THREAD_SAFETY_ANALYSIS { pimpl->mutex.unlock(); }

void SubscriptionCondition::signal() NORQ_NO_THREAD_SAFETY_ANALYSIS { pimpl->signal(); }

bool SubscriptionCondition::wait(const TimeSpec& deadline) NORQ_NO_THREAD_SAFETY_ANALYSIS {
    pimpl->signaled = false;
    while (!pimpl->signaled && pimpl->sleep(deadline)) {
    }
    return pimpl->signaled;
}

} // namespace norq_std

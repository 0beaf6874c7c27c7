#pragma once

#include "concurrency/TimeSpec.h"
#include "internal/PThreadMutex.h"

namespace norq_std {
class Subscription;
}

namespace norq_std_internal {

/// One waiter's mutex and condition variable, on its stack during a wait.
struct SubscriptionConditionPimpl {
    SubscriptionConditionPimpl() = default;
    ~SubscriptionConditionPimpl() { pthread_cond_destroy(&condition); }
    SubscriptionConditionPimpl(const SubscriptionConditionPimpl&) = delete;
    SubscriptionConditionPimpl& operator=(const SubscriptionConditionPimpl&) = delete;

    void signal() NORQ_REQUIRES(mutex) {
        signaled = true;
        pthread_cond_signal(&condition);
    }

    /// One sleep. False if the deadline is over or the sleep failed; true tells nothing.
    bool sleep(const norq_std::TimeSpec& deadline) NORQ_REQUIRES(mutex) {
        if (deadline.getSeconds() < 0)
            return pthread_cond_wait(&condition, &mutex.native) == 0;
        timespec limit{};
        limit.tv_sec = deadline.getSeconds();
        limit.tv_nsec = deadline.getNanoseconds();
        return pthread_cond_timedwait(&condition, &mutex.native, &limit) == 0;
    }

    PThreadMutex mutex;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    bool signaled NORQ_GUARDED_BY(mutex) = false;
    /// The one subscription whose signal ends the sleep; null: any.
    const norq_std::Subscription* awaited NORQ_GUARDED_BY(mutex) = nullptr;
};

} // namespace norq_std_internal

#pragma once

#include "base/Object.h"
#include "base/ThreadAnnotations.h"
#include "concurrency/TimeSpec.h"

#include <memory>

namespace norq_std_internal {
struct SubscriptionConditionPimpl;
class Wait;
class WaitablePimpl;
} // namespace norq_std_internal

namespace norq_std {

/// Where one waiting thread sleeps and the threads that signal it meet. Part of the waits; programs wait through
/// `Concurrency`.
///
/// It belongs to one waiting thread for life. `signal` and `wait` are called with the lock held.
class NORQSTD_EXPORT NORQ_CAPABILITY("condition") SubscriptionCondition : public Object {
public:
    SubscriptionCondition();
    SubscriptionCondition(const SubscriptionCondition&) = delete;
    SubscriptionCondition& operator=(const SubscriptionCondition&) = delete;
    ~SubscriptionCondition() override;

    WString toString() const override;

    void lock() NORQ_ACQUIRE();
    void unlock() NORQ_RELEASE();
    void signal() NORQ_REQUIRES(this);
    /// Gives up the lock and sleeps until a signal or the deadline, an absolute wall-clock time; no limit if its
    /// seconds are negative. True if it was signaled. The system's early returns are slept over.
    bool wait(const TimeSpec& deadline) NORQ_REQUIRES(this);

private:
    friend class norq_std_internal::Wait;
    friend class norq_std_internal::WaitablePimpl;

    explicit SubscriptionCondition(norq_std_internal::SubscriptionConditionPimpl& borrowed);

    std::shared_ptr<norq_std_internal::SubscriptionConditionPimpl> pimpl;
};

} // namespace norq_std

#pragma once

#include "concurrency/Subscription.h"
#include "concurrency/SubscriptionCondition.h"
#include "internal/DeferredCancellation.h"
#include "internal/SubscriptionConditionPimpl.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace norq_std_internal {

/// One wait that may sleep: its condition and its subscriptions, on the waiting thread's stack. Its end, however it
/// comes, takes every subscription off its object; a wait that is cancelled gives its signals back.
class Wait {
public:
    /// For at most `capacity` objects; allocates above 16.
    explicit Wait(std::size_t capacity);
    Wait(const Wait&) = delete;
    Wait& operator=(const Wait&) = delete;
    ~Wait() noexcept(false);

    void subscribe(norq_std::Waitable& object);
    /// Counts in an object whose signal the caller has used up.
    void adopt(norq_std::Waitable& object);

    /// Sleeps until a subscription is woken or the deadline. The position of the lowest signal, or -1; a destroyed
    /// object below it throws.
    std::int32_t any(const norq_std::TimeSpec& deadline);
    /// Sleeps for one subscription after the other. 0, or -1 at the deadline; a destroyed object throws.
    std::int32_t all(const norq_std::TimeSpec& deadline);

private:
    static constexpr std::size_t INLINE_CAPACITY = 16;

    /// Sleeps, and notes that a cancellation struck if it does not return.
    bool sleep(const norq_std::TimeSpec& deadline) NORQ_REQUIRES(native.mutex);
    /// Notes which subscriptions are woken; what is not noted may change at any time.
    void settle() NORQ_REQUIRES(native.mutex);
    void leave();
    std::int32_t getWaitResult() const;

    DeferredCancellation deferred;
    SubscriptionConditionPimpl native;
    norq_std::SubscriptionCondition condition{native};
    const std::shared_ptr<norq_std::SubscriptionCondition> sharedCondition{std::shared_ptr<void>(), &condition};
    bool cancelled = false;
    bool pending = false; ///< a subscription was signaled as it subscribed
    std::size_t count = 0;
    norq_std::Subscription* subscriptions;
    std::unique_ptr<std::byte[]> allocated;
    alignas(norq_std::Subscription) std::byte inlined[INLINE_CAPACITY * sizeof(norq_std::Subscription)];
};

} // namespace norq_std_internal

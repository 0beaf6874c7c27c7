#pragma once

#include "concurrency/Subscription.h"
#include "internal/PThreadMutex.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace norq_std_internal {

/// The state of a waitable and its list of waiters. Shared by the waitable and the waits that stand on the list, so
/// that a wait may leave an object that is gone; docs/waits.md tells why this is sound.
///
/// The state word holds two flags and the number of owners. LISTED is set exactly while the list is not empty and
/// changes only under the mutex; SIGNALED may change at any time, in one step with a look at LISTED. So a signal that
/// finds nobody listed, and a wait that finds a signal, need no mutex and cannot miss each other.
class WaitablePimpl {
public:
    WaitablePimpl(bool resets, bool signaled);
    WaitablePimpl(const WaitablePimpl&) = delete;
    WaitablePimpl& operator=(const WaitablePimpl&) = delete;

    void retain() { word.fetch_add(OWNER, std::memory_order_relaxed); }
    void release() {
        if (word.fetch_sub(OWNER, std::memory_order_acq_rel) < 2 * OWNER)
            delete this;
    }

    bool isSignaled() const { return (word.load(std::memory_order_acquire) & SIGNALED) != 0; }
    void setSignaled(bool value);
    bool isAutoReset() const { return autoReset.load(std::memory_order_relaxed); }
    void setAutoReset(bool value) { autoReset.store(value, std::memory_order_relaxed); }

    /// Whether the object is signaled; the signal of an auto-reset object is used up.
    bool tryConsume();
    void signal();
    /// `signal` by a caller that has retained: the object itself may be gone.
    void signalAndRelease();
    void pulse();

    void subscribe(norq_std::Subscription& subscription);
    void unsubscribe(norq_std::Subscription& subscription);
    std::size_t getSubscriberCount();

    /// Releases the waiters with DESTROYED and gives up the object's own share.
    void destroyAndRelease();

protected:
    static constexpr std::uint64_t SIGNALED = 1;
    static constexpr std::uint64_t LISTED = 2;
    static constexpr std::uint64_t OWNER = std::uint64_t{1} << 32; ///< what lies between belongs to subclasses

    virtual ~WaitablePimpl() = default;

private:
    void signalListed();
    void append(norq_std::Subscription& subscription) NORQ_REQUIRES(mutex);
    void remove(norq_std::Subscription& subscription) NORQ_REQUIRES(mutex);
    void wakeFirst(norq_std::SubscriptionState state) NORQ_REQUIRES(mutex);

    PThreadMutex mutex;
    norq_std::Subscription* first NORQ_GUARDED_BY(mutex) = nullptr;
    norq_std::Subscription* last NORQ_GUARDED_BY(mutex) = nullptr;

protected:
    std::atomic<std::uint64_t> word;

private:
    std::atomic<bool> autoReset;
};

} // namespace norq_std_internal

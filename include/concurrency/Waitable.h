#pragma once

#include "base/Object.h"

#include <cstddef>

namespace norq_std_internal {
class WaitablePimpl;
}

namespace norq_std {

class Subscription;

/// Something that threads wait for, alone or together with others, through `Concurrency`.
///
/// A waitable is signaled or not. With auto-reset a signal releases one waiter, the one that has waited longest, and is
/// used up by it; without a waiter it stays until the next one comes, and does not count how often it was given.
/// Without auto-reset a signal releases every waiter and stays until it is reset.
///
/// What a thread wrote before `signal` is visible to the thread that the signal releases.
///
/// Any thread may call any operation. Destroying a waitable on which threads wait releases them with an exception; a
/// thread that begins to wait, or signals, while the object is destroyed is a fault of the caller. A thread that was
/// released by a signal may destroy the object at once.
class NORQSTD_EXPORT Waitable : public Object {
public:
    Waitable(bool autoReset, bool signaled);
    Waitable(const Waitable&) = delete;
    Waitable& operator=(const Waitable&) = delete;
    ~Waitable() override;

    WString toString() const override;

    bool isSignaled() const;

protected:
    /// Takes over a record that a subclass has extended.
    explicit Waitable(norq_std_internal::WaitablePimpl& record);

    virtual void signal();

    bool isAutoReset() const;
    /// Plain stores of the two flags: they release nobody.
    void setAutoReset(bool value);
    void setSignaled(bool value);

    /// Releases every thread that waits at this moment, and leaves the signaled state as it is.
    void pulse();

    /// Puts a waiter at the end of the list, or gives it the signal at once where there is one.
    void subscribe(Subscription& subscription);
    /// Takes a waiter off the list; none present is no fault.
    void unsubscribe(Subscription& subscription);
    /// How many waiters stand on the list.
    std::size_t getSubscriberCount() const;

private:
    friend class Concurrency;
    friend class Lock;
    friend class Semaphore;
    friend class Subscription;

    norq_std_internal::WaitablePimpl* const pimpl;
};

} // namespace norq_std

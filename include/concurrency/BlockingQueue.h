#pragma once

#include "base/Export.h"
#include "base/WString.h"
#include "concurrency/Lock.h"

#include <cstdint>

namespace norq_std {

class Waitable;

/// A bounded first-in first-out queue that threads share.
///
/// `T` is what goes in, and `R` what comes out: it is made from a `T` and has an empty value, which stands for nothing:
/// a null pointer, an empty `std::optional`, or the default value of any other type.
///
/// The operations with a time-out in milliseconds wait for room or for an element: 0 does not wait, a negative time-out
/// has no limit. `extra`, where given, ends a wait when it is signaled, and gives up its signal if it is auto-reset.
/// After `shutdown` all of them throw, those that wait at that moment included.
///
/// Any thread may call any operation. What a producer wrote before it offered an element is visible to the thread that
/// takes it. The queue must outlive the calls: a thread that still waits at its destruction gets a
/// `NorqWaitObjectDestroyedException` and must not touch the queue again.
template <class T, class R>
class NORQSTD_EXPORT BlockingQueue {
public:
    virtual ~BlockingQueue() = default;
    BlockingQueue(const BlockingQueue&) = delete;
    BlockingQueue& operator=(const BlockingQueue&) = delete;

    virtual std::int32_t getCapacity() const = 0;
    virtual std::int32_t getRemainingCapacity() const = 0;
    virtual std::int32_t size() const = 0;
    virtual bool isShutdown() const = 0;
    virtual WString toString() const = 0;
    virtual WString getClassName() const = 0;

    /// Drops all elements.
    virtual void clear() = 0;

    /// Insert at the back; true if the element was inserted. A null element throws `NorqIllegalArgumentException`, a
    /// queue that has shut down `NorqIllegalStateException`.
    virtual bool offer(const T& element, std::int32_t timeoutMs, Waitable& extra) = 0;
    virtual bool offer(const T& element, std::int32_t timeoutMs) = 0;
    virtual bool offer(const T& element) = 0;

    /// A copy of the front element, or an empty result; also on a queue that has shut down.
    virtual R peek() const = 0;

    /// Take the front element; an empty result if none was taken. A queue that has shut down throws
    /// `NorqIllegalStateException`.
    virtual R poll(std::int32_t timeoutMs, Waitable& extra) = 0;
    virtual R poll(std::int32_t timeoutMs) = 0;
    virtual R poll() = 0;

    /// Drops all elements and ends every wait, for good.
    virtual void shutdown() = 0;

protected:
    BlockingQueue() = default;

    /// Guards the queue; held for single attempts, never during a wait.
    mutable Lock lock;
};

} // namespace norq_std

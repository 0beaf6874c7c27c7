#pragma once

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "base/Object.h"
#include "concurrency/AutoLock.h"
#include "concurrency/BlockingQueue.h"
#include "concurrency/Concurrency.h"
#include "concurrency/Event.h"
#include "concurrency/TimeUtils.h"
#include "exception/NorqException.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace norq_std {

namespace detail {

/// Whether a result of a queue stands for nothing.
template <class R>
bool isEmptyResult(const R& result) {
    if constexpr (requires { result == nullptr; })
        return result == nullptr;
    else if constexpr (requires { result.has_value(); })
        return !result.has_value();
    else
        return result == R();
}

inline WString decimalText(std::int32_t number) {
    const std::string digits = std::to_string(number);
    return {digits.begin(), digits.end()};
}

} // namespace detail

/// The waits, the capacity and the shutdown of a `BlockingQueue`; a subclass adds the store.
///
/// The events carry no count, and so a signal can go to a thread that has no more use for it. A thread that has waited
/// therefore passes the signal on when it leaves, if there is still something to take or still room: no thread sleeps
/// beside an element that has nobody else to take it.
template <class T, class R>
class NORQSTD_EXPORT AbstractBlockingQueue : public BlockingQueue<T, R>, public Object {
public:
    /// Throws `NorqIllegalArgumentException` for a capacity below 1.
    explicit AbstractBlockingQueue(std::int32_t maximumSize)
        : capacity(maximumSize) {
        ErrorUtils::isBelowMinEx(maximumSize, 1, u"norq_std::AbstractBlockingQueue::AbstractBlockingQueue",
                                 u"Maximum queue capacity.", 0);
    }
    ~AbstractBlockingQueue() override = default;

    std::int32_t getCapacity() const override { return capacity; }
    std::int32_t getRemainingCapacity() const override { return capacity - this->size(); }
    bool isShutdown() const override { return shutdownEvent.isSignaled(); }
    WString toString() const override {
        return u"AbstractBlockingQueue{capacity=" + detail::decimalText(capacity) + u"}";
    }

    bool offer(const T& element, std::int32_t timeoutMs, Waitable& extra) override {
        NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractBlockingQueue::offer");
        return internalOffer(element, timeoutMs, {&shutdownEvent, &notFull, &extra});
    }
    bool offer(const T& element, std::int32_t timeoutMs) override {
        NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractBlockingQueue::offer");
        return internalOffer(element, timeoutMs, offerWaitables);
    }
    bool offer(const T& element) override {
        NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractBlockingQueue::offer");
        checkElement(element);
        return internalOffer(element);
    }

    R poll(std::int32_t timeoutMs, Waitable& extra) override {
        NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractBlockingQueue::poll");
        return internalPoll(timeoutMs, {&shutdownEvent, &notEmpty, &extra});
    }
    R poll(std::int32_t timeoutMs) override {
        NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractBlockingQueue::poll");
        return internalPoll(timeoutMs, pollWaitables);
    }
    using BlockingQueue<T, R>::poll;

    void shutdown() override {
        NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractBlockingQueue::shutdown");
        const AutoLock<Lock> guard(this->lock);
        shutdownEvent.signal();
        this->clear();
    }

protected:
    using Waitables = std::vector<Waitable*>;

    virtual void notifyNotFull() { wake(notFull); }
    /// Moves the front element out. The caller holds the lock and has checked that there is one.
    virtual R internalPoll() = 0;
    virtual void checkElement(const T& element) const = 0;
    [[noreturn]] virtual void throwShutdown(const WChar* function) const {
        const NorqIllegalStateException exception(u"AbstractBlockingQueue has shutdown.");
        exception.logDebug(function);
        throw NorqIllegalStateException(exception);
    }
    virtual void checkShutdown(const WChar* function) const {
        if (shutdownEvent.isSignaled())
            throwShutdown(function);
    }

    /// The timed insertion; the list is the shutdown, the room, and where given the extra object.
    virtual bool internalOffer(const T& element, std::int32_t timeoutMs, const Waitables& waitables) {
        checkElement(element);
        if (internalOffer(element))
            return true;
        const auto attempt = [&] { return internalOffer(element); };
        const auto isOfUse = [&] { return getRemainingCapacity() > 0; };
        return repeat(attempt, Direction<decltype(isOfUse)>{notFull, waitingProducers, isOfUse}, timeoutMs, waitables);
    }
    /// One attempt to insert.
    virtual bool internalOffer(const T& element) = 0;
    /// One attempt to take.
    virtual R internalPollUnderLock() = 0;
    /// The timed removal; the list is the shutdown, the element, and where given the extra object.
    virtual R internalPoll(std::int32_t timeoutMs, const Waitables& waitables) {
        R result = internalPollUnderLock();
        if (!detail::isEmptyResult(result))
            return result;
        const auto attempt = [&] {
            result = internalPollUnderLock();
            return !detail::isEmptyResult(result);
        };
        const auto isOfUse = [&] { return this->size() > 0; };
        repeat(attempt, Direction<decltype(isOfUse)>{notEmpty, waitingConsumers, isOfUse}, timeoutMs, waitables);
        return result;
    }
    /// Erases the first element that is this very one; the caller holds the lock.
    virtual bool internalRemove(const T& element) = 0;

    /// Signals an event, under the lock. A signal that is still there will do: whoever uses it up looks at the queue
    /// later than now, under the lock.
    static void wake(Event& event) {
        if (!event.isSignaled())
            event.signal();
    }

    Event notEmpty{true, false};       ///< signaled by each successful insertion
    Event notFull{true, false};        ///< signaled by each removal through poll, and by clear
    Event shutdownEvent{false, false}; ///< signaled once, never reset

private:
    /// The time-out of one call. Its clock starts when the first attempt has failed.
    struct Limit {
        explicit Limit(std::int32_t ms)
            : timeoutMs(ms)
            , start(ms > 0 ? TimeUtils::getCurrentTimeMs() : 0) {}

        std::uint64_t passed() const { return TimeUtils::getCurrentTimeMs() - start; }
        std::int32_t rest() const {
            if (timeoutMs < 1)
                return timeoutMs;
            const std::uint64_t now = passed();
            return now < static_cast<std::uint64_t>(timeoutMs) ? timeoutMs - static_cast<std::int32_t>(now) : 0;
        }
        bool isOver() const { return timeoutMs > 0 && passed() > static_cast<std::uint64_t>(timeoutMs); }

        const std::int32_t timeoutMs;
        const std::uint64_t start;
    };

    template <class IsOfUse>
    struct Direction {
        Event& event;
        std::int32_t& waiting; ///< threads between a failed attempt and the next, guarded by the lock
        const IsOfUse& isOfUse;
    };

    /// Attempts and waits in turn; whether an attempt succeeded. A wait that throws leaves the queue untouched, since
    /// it may be gone.
    template <class Attempt, class IsOfUse>
    bool repeat(const Attempt& attempt, const Direction<IsOfUse>& direction, std::int32_t timeoutMs,
                const Waitables& waitables) {
        const Limit limit(timeoutMs);
        bool hasWaited = false;
        for (bool again = true;; again = waitOnce(waitables, limit)) {
            const AutoLock<Lock> guard(this->lock);
            if (hasWaited)
                --direction.waiting;
            // The wait may have used up a signal that would serve another thread, also where an attempt fails for good.
            const auto handOn = [&] {
                if (hasWaited && direction.waiting > 0 && direction.isOfUse())
                    wake(direction.event);
            };
            bool done = false;
            try {
                done = again && attempt();
            } catch (...) {
                handOn();
                throw;
            }
            if (done || !again) {
                handOn();
                return done;
            }
            ++direction.waiting;
            hasWaited = true;
        }
    }

    /// One wait; whether it is worth another attempt.
    bool waitOnce(const Waitables& waitables, const Limit& limit) {
        const std::int32_t waitTime = limit.rest();
        NORQ_LOG(DUMP, u"norq_std::AbstractBlockingQueue::waitOnce", u"waitTime: %ld", waitTime);
        const std::int32_t result = Concurrency::waitForMultipleObjects(waitables, WAIT_ANY, waitTime);
        if (result == 0)
            throwShutdown(u"norq_std::AbstractBlockingQueue::waitOnce");
        return result == 1 && !limit.isOver();
    }

    std::int32_t waitingProducers = 0;
    std::int32_t waitingConsumers = 0;
    const std::int32_t capacity;
    const Waitables offerWaitables{&shutdownEvent, &notFull};
    const Waitables pollWaitables{&shutdownEvent, &notEmpty};
};

} // namespace norq_std

#pragma once

#include "concurrency/AbstractBlockingQueue.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <utility>

namespace norq_std {

/// A `BlockingQueue` on a double-ended queue. It allocates as it grows, so a large capacity costs nothing by itself.
template <class T, class R>
class NORQSTD_EXPORT StdDequeBlockingQueue : public AbstractBlockingQueue<T, R> {
public:
    /// Throws `NorqIllegalArgumentException` for a capacity below 1.
    explicit StdDequeBlockingQueue(std::int32_t maximumSize)
        : AbstractBlockingQueue<T, R>(maximumSize) {}
    ~StdDequeBlockingQueue() override = default;

    std::int32_t size() const override {
        const AutoLock<Lock> guard(this->lock);
        return static_cast<std::int32_t>(elements.size());
    }
    WString toString() const override {
        return u"StdDequeBlockingQueue{" + AbstractBlockingQueue<T, R>::toString() + u",blockingQueueSize=" +
               detail::decimalText(size()) + u"}";
    }
    WString getClassName() const override { return u"norq_std.StdDequeBlockingQueue"; }

    void clear() override {
        NORQ_LOG_FUNCTION_CALL(u"norq_std::StdDequeBlockingQueue::clear");
        const AutoLock<Lock> guard(this->lock);
        while (!elements.empty())
            elements.pop_front();
        this->notifyNotFull();
    }

    R peek() const override {
        NORQ_LOG_FUNCTION_CALL(u"norq_std::StdDequeBlockingQueue::peek");
        const AutoLock<Lock> guard(this->lock);
        return elements.empty() ? R() : R(elements.front());
    }

    R poll(std::int32_t timeoutMs, Waitable& extra) override {
        return AbstractBlockingQueue<T, R>::poll(timeoutMs, extra);
    }
    R poll(std::int32_t timeoutMs) override { return AbstractBlockingQueue<T, R>::poll(timeoutMs); }
    R poll() override {
        NORQ_LOG_FUNCTION_CALL(u"norq_std::StdDequeBlockingQueue::poll");
        return internalPollUnderLock();
    }

    /// Drops the first element that is this very one, not an equal one, for pointers; whether there was one. It
    /// releases no waiting producer.
    bool remove(const T& element) {
        NORQ_LOG_FUNCTION_CALL(u"norq_std::StdDequeBlockingQueue::remove");
        const AutoLock<Lock> guard(this->lock);
        this->checkShutdown(u"norq_std::StdDequeBlockingQueue::remove");
        checkElement(element);
        return !elements.empty() && internalRemove(element);
    }

protected:
    using AbstractBlockingQueue<T, R>::internalOffer;
    using AbstractBlockingQueue<T, R>::internalPoll;

    R internalPoll() override {
        R result(std::move(elements.front()));
        elements.pop_front();
        return result;
    }

    void checkElement(const T& element) const override {
        if constexpr (requires { element == nullptr; })
            if (element == nullptr) [[unlikely]]
                ErrorUtils::isNullEx(element, u"norq_std::StdDequeBlockingQueue::checkElement", u"Element", 0);
    }

    bool internalOffer(const T& element) override {
        T copy(element); // outside of the lock, which others want
        const AutoLock<Lock> guard(this->lock);
        this->checkShutdown(u"norq_std::StdDequeBlockingQueue::internalOffer");
        checkElement(element);
        if (elements.size() >= static_cast<std::size_t>(this->getCapacity()))
            return false;
        elements.push_back(std::move(copy));
        this->wake(this->notEmpty);
        return true;
    }

    R internalPollUnderLock() override {
        const AutoLock<Lock> guard(this->lock);
        this->checkShutdown(u"norq_std::StdDequeBlockingQueue::internalPollUnderLock");
        if (elements.empty())
            return R();
        R result = internalPoll();
        this->notifyNotFull();
        return result;
    }

    bool internalRemove(const T& element) override {
        for (auto it = elements.begin(); it != elements.end(); ++it)
            if (*it == element) {
                elements.erase(it);
                return true;
            }
        return false;
    }

private:
    std::deque<T> elements; ///< guarded by the queue's lock
};

extern template class BlockingQueue<std::shared_ptr<WString>, std::shared_ptr<WString>>;
extern template class AbstractBlockingQueue<std::shared_ptr<WString>, std::shared_ptr<WString>>;
extern template class StdDequeBlockingQueue<std::shared_ptr<WString>, std::shared_ptr<WString>>;

} // namespace norq_std

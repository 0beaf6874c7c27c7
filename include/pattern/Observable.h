#pragma once

#include "base/ErrorUtils.h"
#include "base/Functor.h"
#include "base/Object.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Lock.h"

#include <memory>
#include <set>
#include <utility>

namespace norq_std {

/// A locked set of observers, of which each object is a member once.
///
/// Observers are notified outside the lock: an observer may add and remove observers and may block, and may still be
/// called shortly after its removal by a notification that had begun. One that throws stops nobody else. The set shares
/// the ownership of its members. Any thread may call any operation.
template <class T>
class NORQSTD_EXPORT Observable : public Object {
public:
    using Observers = std::set<std::shared_ptr<T>, shared_ptr_lt<T>>;

    explicit Observable(WString observableId)
        : id(std::move(observableId)) {}
    Observable(const Observable&) = delete;
    Observable& operator=(const Observable&) = delete;

    WString toString() const override { return u"Observable{id='" + id + u"'}"; }

    virtual bool hasObservers() const {
        const AutoLock<Lock> guard(lock);
        return !observers.empty();
    }
    /// Throws `NorqIllegalArgumentException` for a null pointer.
    virtual void addObserver(const std::shared_ptr<T>& observer) {
        ErrorUtils::isNullEx(observer, u"norq_std::Observable::addObserver", u"observer");
        const AutoLock<Lock> guard(lock);
        observers.insert(observer);
    }
    /// Throws `NorqIllegalArgumentException` for a null pointer. What is not a member is left alone.
    virtual void removeObserver(const std::shared_ptr<T>& observer) {
        ErrorUtils::isNullEx(observer, u"norq_std::Observable::removeObserver", u"observer");
        const AutoLock<Lock> guard(lock);
        observers.erase(observer);
    }
    virtual void removeAllObservers() {
        Observers released; // their destructors run outside the lock
        const AutoLock<Lock> guard(lock);
        observers.swap(released);
    }

    const WString& getId() const { return id; }

protected:
    virtual Observers getObservers() const {
        const AutoLock<Lock> guard(lock);
        return observers;
    }

    /// Calls the functor with the shared pointer of each observer that is a member now.
    template <class F>
    void do_notify(F functor) const {
        log_ex_t<F> call(std::move(functor), u"norq_std::Observable::do_notify");
        for (const std::shared_ptr<T>& observer : getObservers())
            call(observer);
    }

private:
    Observers observers;
    mutable Lock lock;
    const WString id;
};

} // namespace norq_std

#pragma once

#include "base/Object.h"
#include "base/ThreadAnnotations.h"

namespace norq_std {

/// Holds a lock from construction to the end of the scope. `T` is anything with `lock` and `unlock`; it must outlive
/// the guard. Belongs to one thread.
template <class T>
class NORQ_SCOPED_CAPABILITY NORQSTD_EXPORT AutoLock : public Object {
public:
    explicit AutoLock(T& heldObject) NORQ_ACQUIRE(heldObject)
        : object(heldObject) {
        object.lock();
    }
    ~AutoLock() override NORQ_RELEASE() { object.unlock(); }
    AutoLock(const AutoLock&) = delete;
    AutoLock& operator=(const AutoLock&) = delete;

    WString toString() const override { return u"AutoLock{}"; }

private:
    T& object;
};

} // namespace norq_std

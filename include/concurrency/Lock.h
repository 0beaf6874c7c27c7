#pragma once

#include "base/ThreadAnnotations.h"
#include "concurrency/Waitable.h"

namespace norq_std {

/// A lock that its holder may take again; each `lock` needs its `unlock`.
///
/// As a waitable it is signaled by each full release. A wait on it says that a release happened; it does not take the
/// lock.
///
/// Hold it through `AutoLock`. Any thread may call any operation; the lock may be destroyed as soon as nobody holds it
/// or waits for it, also while the last holder is still on its way out of `unlock`. A thread that is cancelled leaves
/// the locks that it holds outside a guard as they are.
class NORQSTD_EXPORT NORQ_CAPABILITY("lock") Lock : public Waitable {
public:
    Lock();
    ~Lock() override;

    WString toString() const override;

    /// Throws `NorqOutOfResourcesException` beyond 4,294,967,295 times.
    virtual void lock() NORQ_ACQUIRE();
    /// Throws `NorqAccessException`, and changes nothing, if the caller does not hold the lock.
    virtual void unlock() NORQ_RELEASE();
    virtual bool tryLock() NORQ_TRY_ACQUIRE(true);
};

} // namespace norq_std

#pragma once

#include "base/Object.h"

#include <memory>

namespace norq_std_internal {
class ReadWriteLockPimpl;
}

namespace norq_std {

/// A lock that up to a fixed number of threads hold to read, or one thread holds to write.
///
/// Both kinds recurse per thread: each `readLock` needs its `readUnlock`, each `writeLock` its `writeUnlock`, by the
/// thread that took it. A thread that holds the read lock may take the write lock. It gives up its read protection
/// while it waits, since another thread may write in between: what was read before `writeLock` must be read again after
/// it, and it cannot be cancelled meanwhile. After `writeUnlock` it is a reader as before. The writer may read, and
/// goes on as a reader if it releases the write lock first.
///
/// A waiting writer holds off new readers, but not a thread that already reads, so that nested reads cannot deadlock
/// against it. Use it where reads dominate and take longer than a hand-over of the lock; for short sections `Lock` is
/// enough. It is no `Waitable` and knows no time-outs.
///
/// Any thread may call any operation. What a thread wrote before `writeUnlock` is seen by every later `readLock` and
/// `writeLock`; what a reader read before `readUnlock` is not overtaken by a later writer. The lock must outlive every
/// thread that holds it or waits for it; a thread that has just got it may destroy it after its own unlock.
class NORQSTD_EXPORT ReadWriteLock : public Object {
public:
    static constexpr int DefaultReaderCount = 32;

    /// Throws `NorqIllegalArgumentException` for fewer than one reader.
    explicit ReadWriteLock(int maxReaders);
    ~ReadWriteLock() override;
    ReadWriteLock(const ReadWriteLock&) = delete;
    ReadWriteLock& operator=(const ReadWriteLock&) = delete;

    WString toString() const override;

    /// Throws `NorqOutOfResourcesException` at the recursion limit of 2^32 - 1.
    void readLock();
    /// Throws `NorqAccessException` if the calling thread holds no read lock.
    void readUnlock();
    /// Throws `NorqOutOfResourcesException` at the recursion limit of 2^32 - 1.
    void writeLock();
    /// Throws `NorqAccessException` if the calling thread does not hold the write lock.
    void writeUnlock();

private:
    std::shared_ptr<norq_std_internal::ReadWriteLockPimpl> pimpl;
};

} // namespace norq_std

#pragma once

#include "concurrency/ReadWriteLock.h"

namespace norq_std_internal {

/// Hold a read-write lock, to read or to write, from construction to the end of the scope.
class ReadGuard {
public:
    explicit ReadGuard(norq_std::ReadWriteLock& heldLock)
        : lock(heldLock) {
        lock.readLock();
    }
    ~ReadGuard() { lock.readUnlock(); }
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;

private:
    norq_std::ReadWriteLock& lock;
};

class WriteGuard {
public:
    explicit WriteGuard(norq_std::ReadWriteLock& heldLock)
        : lock(heldLock) {
        lock.writeLock();
    }
    ~WriteGuard() { lock.writeUnlock(); }
    WriteGuard(const WriteGuard&) = delete;
    WriteGuard& operator=(const WriteGuard&) = delete;

private:
    norq_std::ReadWriteLock& lock;
};

} // namespace norq_std_internal

#pragma once

#include "base/ThreadAnnotations.h"

#include <pthread.h>

namespace norq_std_internal {

/// A default mutex that the thread-safety analysis knows.
class NORQ_CAPABILITY("mutex") PThreadMutex {
public:
    PThreadMutex() = default;
    PThreadMutex(const PThreadMutex&) = delete;
    PThreadMutex& operator=(const PThreadMutex&) = delete;
    ~PThreadMutex() { pthread_mutex_destroy(&native); }

    int lock() NORQ_ACQUIRE() { return pthread_mutex_lock(&native); }
    int unlock() NORQ_RELEASE() { return pthread_mutex_unlock(&native); }
    int tryLock() NORQ_TRY_ACQUIRE(0) { return pthread_mutex_trylock(&native); }

    pthread_mutex_t native = PTHREAD_MUTEX_INITIALIZER;
};

/// Holds a raw mutex for a scope. Results are not looked at.
class NORQ_SCOPED_CAPABILITY PThreadMutexLock {
public:
    explicit PThreadMutexLock(PThreadMutex& held) NORQ_ACQUIRE(held)
        : mutex(held) {
        mutex.lock();
    }
    ~PThreadMutexLock() NORQ_RELEASE() { mutex.unlock(); }
    PThreadMutexLock(const PThreadMutexLock&) = delete;
    PThreadMutexLock& operator=(const PThreadMutexLock&) = delete;

private:
    PThreadMutex& mutex;
};

} // namespace norq_std_internal

#pragma once

#include <pthread.h>

namespace norq_std_internal {

/// A mutex that its holder may take again. Failures are ignored: a release by another thread does nothing.
class RecursiveMutex {
public:
    RecursiveMutex() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    ~RecursiveMutex() { pthread_mutex_destroy(&mutex); }
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;

    void lock() { pthread_mutex_lock(&mutex); }
    void unlock() { pthread_mutex_unlock(&mutex); }

private:
    pthread_mutex_t mutex;
};

} // namespace norq_std_internal

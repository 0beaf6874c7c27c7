#pragma once

#include <pthread.h>

namespace norq_std_internal::platform {

/// Puts off the cancellation of the calling thread while it lives.
///
/// Guards work that destructors do, since a thread that is cancelled inside a destructor ends the process.
class CancellationShield {
public:
    CancellationShield() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before); }
    ~CancellationShield() {
        int ignored = 0;
        pthread_setcancelstate(before, &ignored);
    }
    CancellationShield(const CancellationShield&) = delete;
    CancellationShield& operator=(const CancellationShield&) = delete;

private:
    int before = 0;
};

} // namespace norq_std_internal::platform

#pragma once

#include <pthread.h>

namespace norq_std_internal {

/// Holds asynchronous cancellation off for a scope, in which a thread may then be cancelled only where it sleeps.
///
/// A cancellation that came in meanwhile takes place at the end of the scope, so the destructor may unwind.
class DeferredCancellation {
public:
    DeferredCancellation() { pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &previous); }
    ~DeferredCancellation() noexcept(false) {
        if (previous != PTHREAD_CANCEL_DEFERRED)
            pthread_setcanceltype(previous, &previous);
    }
    DeferredCancellation(const DeferredCancellation&) = delete;
    DeferredCancellation& operator=(const DeferredCancellation&) = delete;

private:
    int previous = PTHREAD_CANCEL_DEFERRED;
};

} // namespace norq_std_internal

#pragma once

#include "base/Export.h"

namespace norq_std_internal {
class PulseEvent;
}

namespace NorqStd {

class NorqMutex;

/// A condition handle that its owner creates and destroys by hand; new code uses `norq_std::Event`.
///
/// A signal reaches the threads that wait at that moment and no other: one that comes before a thread waits is lost, so
/// callers keep a predicate and a time-out of their own. Copies name one and the same condition. Before `Create` and
/// after `Destroy` the other operations do nothing. No operation reports an error.
class NORQSTD_EXPORT NorqCond {
public:
    NorqCond();
    ~NorqCond();
    NorqCond(const NorqCond& other) = default;
    NorqCond& operator=(const NorqCond& other) = default;

    void Create();
    /// Threads that wait are released.
    void Destroy();
    /// Releases the mutex, waits for a signal and takes the mutex again; on a mutex that was not created, only waits.
    void Wait(NorqMutex& mutex);
    void Signal();

private:
    norq_std_internal::PulseEvent* handle;
};

} // namespace NorqStd

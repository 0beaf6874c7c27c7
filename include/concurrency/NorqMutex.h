#pragma once

#include "base/Export.h"

namespace norq_std_internal {
class RecursiveMutex;
}

namespace NorqStd {

/// A mutex handle that its owner creates and destroys by hand; new code uses `norq_std::Lock`.
///
/// Copies name one and the same mutex. Before `Create` and after `Destroy` the other operations do nothing. Its holder
/// may take it again. No operation reports an error.
class NORQSTD_EXPORT NorqMutex {
public:
    NorqMutex();
    ~NorqMutex();
    NorqMutex(const NorqMutex& other) = default;
    NorqMutex& operator=(const NorqMutex& other) = default;

    void Create();
    /// Nobody may hold the mutex or wait for it, through this object or a copy.
    void Destroy();
    void Lock();
    void UnLock();

private:
    norq_std_internal::RecursiveMutex* handle;
};

} // namespace NorqStd

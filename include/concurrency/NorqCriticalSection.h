#pragma once

#include "base/Export.h"

namespace norq_std_internal {
struct CriticalSection;
}

namespace NorqStd {

/// A critical section that its owner creates and destroys by hand; new code uses `norq_std::Lock`.
///
/// Copies name one and the same section. Before `Create` and after `Destroy` the other operations do nothing. The
/// thread inside may enter again.
class NORQSTD_EXPORT NorqCriticalSection {
public:
    NorqCriticalSection();
    ~NorqCriticalSection();
    NorqCriticalSection(const NorqCriticalSection& other) = default;
    NorqCriticalSection& operator=(const NorqCriticalSection& other) = default;

    /// A second call keeps the first section.
    void Create();
    void Destroy();
    void Enter();
    void Leave();

private:
    friend class NorqAutoCriticalSection;

    norq_std_internal::CriticalSection* section;
};

} // namespace NorqStd

#pragma once

#include "concurrency/NorqCriticalSection.h"

namespace NorqStd {

/// A critical section from construction on. Copies share it, and the last of them destroys it.
class NORQSTD_EXPORT NorqAutoCriticalSection : public NorqCriticalSection {
public:
    NorqAutoCriticalSection();
    NorqAutoCriticalSection(const NorqAutoCriticalSection& other);
    /// Gives up the section of its own and shares the other's.
    NorqAutoCriticalSection& operator=(const NorqAutoCriticalSection& other);
    virtual ~NorqAutoCriticalSection();
};

} // namespace NorqStd

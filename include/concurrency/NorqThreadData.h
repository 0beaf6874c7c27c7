#pragma once

#include "base/Export.h"

#include <atomic>
#include <cstdint>

namespace NorqStd {

/// One pointer for each thread; new code uses `thread_local`.
///
/// The process has one slot, which all objects share; constructing an object forgets the slot, so there should be one
/// object.
class NORQSTD_EXPORT NorqThreadData {
public:
    NorqThreadData();

    void Create();
    void Destroy();
    /// Stores the calling thread's value. False without a slot, and for a null value.
    bool Get(void** value);
    /// False without a slot.
    bool Set(void* value);

private:
    static std::atomic<std::uint32_t> m_key; ///< the slot's number above 0; 0: no slot
};

} // namespace NorqStd

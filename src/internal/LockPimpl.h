#pragma once

#include "base/Export.h"
#include "internal/PThreadMutex.h"

#include <atomic>
#include <cstdint>

namespace norq_std_internal {

/// Throws the exception of the family for a result of the threads library that is a failure.
NORQSTD_EXPORT void checkMutexResult(int result);

struct LockPimpl {
    static constexpr std::uint64_t NO_OWNER = 0xFFFFFFFF;

    PThreadMutex mutex;
    /// Depth of recursion, 0 when free; touched by the holder alone.
    std::uint32_t count = 0;
    /// The holder's numeric id. Others read it only to learn that they are not the holder.
    std::atomic<std::uint64_t> ownerId = NO_OWNER;
};

} // namespace norq_std_internal

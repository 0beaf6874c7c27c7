#pragma once

#include "base/Export.h"

#include <cstdint>

namespace norq_std_internal {

/// The calling thread's numeric id: the kernel's thread id. Cheap after the first call of a thread; never throws.
NORQSTD_EXPORT std::uint64_t currentThreadId() noexcept;

} // namespace norq_std_internal

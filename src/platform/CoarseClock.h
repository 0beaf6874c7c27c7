#pragma once

#include "base/Export.h"

#include <cstdint>

namespace norq_std_internal::platform {

/// A time in nanoseconds that moves on every few milliseconds and never goes back, for next to nothing.
NORQSTD_EXPORT std::int64_t coarseMoment() noexcept;

} // namespace norq_std_internal::platform

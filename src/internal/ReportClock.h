#pragma once

#include "base/Export.h"

#include <cstdint>

namespace norq_std_internal {

/// The clock, in milliseconds, that limits how often failing appenders are reported.
std::uint64_t reportClockMs();

/// Puts another clock in its place, for tests that do not wait; null restores the time of day.
NORQSTD_EXPORT void setReportClock(std::uint64_t (*clock)());

} // namespace norq_std_internal

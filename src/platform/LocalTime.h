#pragma once

#include "base/Export.h"

#include <cstdint>
#include <ctime>
#include <string>

namespace norq_std_internal::platform {

/// Breaks seconds since 1970-01-01 00:00:00 UTC down into local time, in the process's time zone as it is now. False if
/// the year is out of range. Any thread may call it.
NORQSTD_EXPORT bool localTime(std::int64_t seconds, std::tm& result) noexcept;

/// Rises when `zoneName` is called: what was kept of local times may be out of date.
NORQSTD_EXPORT std::uint32_t zoneGeneration() noexcept;

/// The name of standard or daylight-saving time in the process's time zone as it is now, in the encoding of the C
/// library. Calls must not overlap.
std::string zoneName(bool daylightSaving);

} // namespace norq_std_internal::platform

#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstdint>

namespace norq_std {

class Lock;

/// The library's wall clock and its formatter of times.
///
/// Times are milliseconds since 1970-01-01 00:00:00 UTC and follow the system's clock when it is set back: do not
/// measure spans with them that must not go wrong. Local time follows the process's time zone (`TZ`, else the system's
/// zone file) as it is at the moment of the call. Any thread may call any operation.
class NORQSTD_EXPORT TimeUtils {
public:
    static std::uint64_t getCurrentTimeMs();

    /// Day of the week in local time, 0 for Sunday.
    static int getCurrentWeekday();
    static int getWeekdayForTimeMs(std::uint64_t ms);

    /// Local time as "2024-02-29 23:59:59.007"; empty where the system cannot break the time down.
    static WString getCurrentTimestamp();
    static WString getTimestampForTimeMs(std::uint64_t ms);

    /// Names of standard time and of daylight-saving time in the process's zone, such as "CET" and "CEST".
    static WString getTimezone();
    static WString getDSTZone();

    /// Local time in the format of the C library's `wcsftime`, but "%s" is the milliseconds within the second, without
    /// padding. Throws `NorqIllegalArgumentException` if the result has no characters or more than 2047.
    static WString formatTime(const WChar* format, std::uint64_t ms);

private:
    TimeUtils() = default;

    static Lock& lock; ///< guards the zone state of the C library; never destroyed
};

} // namespace norq_std

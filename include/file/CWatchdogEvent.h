#pragma once

#include "base/Export.h"
#include "base/SWString.h"

#include <cstdint>
#include <ctime>

namespace NorqStd {

/// A change that a `CFileWatchdog` found.
class NORQSTD_EXPORT CWatchdogEvent {
public:
    CWatchdogEvent() = default;
    /// Made now.
    CWatchdogEvent(const SWString& fileName, std::uint32_t eventType);

    SWString name;          ///< of the file
    std::uint32_t type = 0; ///< one flag of `CFileWatchdog::Flag`
    std::tm time{};         ///< local time
    std::int32_t milliseconds = 0;
};

} // namespace NorqStd

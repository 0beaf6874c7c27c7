#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstdint>

namespace norq_std_internal {

/// What a system of the original platform tells of its version.
struct WindowsVersion {
    std::uint32_t platformId;
    std::uint32_t major;
    std::uint32_t minor;
    std::uint32_t productType; ///< 1 is a workstation
    std::uint32_t suiteMask;
    norq_std::WString servicePack;
};

/// The name of such a system, for reports that come from one.
NORQSTD_EXPORT norq_std::WString windowsVersionName(const WindowsVersion& version);

} // namespace norq_std_internal

#pragma once

#include "base/ErrorUtils.h"

#include <cstdint>

namespace norq_std_internal {

/// The argument checks that all streams share.
inline void checkTransfer(const void* buffer, std::int32_t offset, std::int32_t length,
                          const norq_std::WChar* function) {
    if (buffer != nullptr && (offset | length) >= 0) [[likely]]
        return;
    norq_std::ErrorUtils::isNullEx(buffer, function, u"buffer");
    norq_std::ErrorUtils::isBelowMinEx(offset, 0, function, u"offset");
    norq_std::ErrorUtils::isBelowMinEx(length, 0, function, u"length");
}

} // namespace norq_std_internal

#pragma once

#include "base/LogEventPriority.h"

#include <cstdint>
#include <string_view>

namespace norq_std_internal {

/// A log statement on its way from the caller to the appenders. The texts are the caller's, and live as long as the
/// call.
struct LogRecord {
    norq_std::LogEventPriority priority;
    std::u16string_view function;
    std::u16string_view message;
    std::u16string_view module;
    std::u16string_view errorId;
    std::uint64_t threadId;
    std::u16string_view fileName;
    std::uint32_t lineNumber;
};

/// `logEventPriorityToString` without a string.
std::u16string_view priorityText(norq_std::LogEventPriority priority);

} // namespace norq_std_internal

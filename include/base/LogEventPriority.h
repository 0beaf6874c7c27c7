#pragma once

#include "base/Export.h"
#include "base/WString.h"

namespace norq_std {

/// Severity of a log event; a larger value is more severe. Up to and including DEBUG they are debug priorities.
enum LogEventPriority : int {
    DUMP = 0,
    TRACE = 1,
    CALL = 2,
    DEBUG = 3,
    INFO = 4,
    WARN = 5,
    ERROR = 6,
    FATAL = 7,
};

/// "DUMP" to "FATAL"; any other value gives "Invalid Priority Specified".
NORQSTD_EXPORT WString logEventPriorityToString(LogEventPriority priority);

/// The priority whose text this is, compared exactly; `defaultPriority` for any other text.
NORQSTD_EXPORT LogEventPriority logEventPriorityFromString(const WString& text, LogEventPriority defaultPriority);

inline bool isDebugEventPriority(LogEventPriority priority) { return priority <= DEBUG; }

} // namespace norq_std

#pragma once

#include "base/Export.h"
#include "base/LogEventPriority.h"
#include "base/WString.h"

#include <cstdint>

namespace norq_std {

/// One log statement on its way to the appenders: a plain value, filled by `LoggerBase::log` and read by filters,
/// layouts and appenders.
class NORQSTD_EXPORT LogEvent {
public:
    /// A point of wall-clock time, counted from 1970-01-01 00:00:00 UTC.
    struct Time {
        std::int64_t seconds = 0;
        std::uint16_t milliseconds = 0; ///< 0 to 999
    };

    /// The thread id that means no thread.
    static constexpr std::uint64_t NO_THREAD = 0xFFFFFFFF;

    /// An event of priority DUMP, made now.
    LogEvent();
    /// An event made now.
    explicit LogEvent(LogEventPriority eventPriority);
    LogEvent(const LogEvent&);
    LogEvent& operator=(const LogEvent&);
    virtual ~LogEvent();

    Time time; ///< when the event was made
    LogEventPriority priority = DUMP;
    WString errorId; ///< the number of a numbered message, such as "STD3012"
    std::uint64_t threadId = NO_THREAD;
    WString module;               ///< who logs, for example "NorqStd"
    WString fileName;             ///< leaf name of the source file
    std::uint32_t lineNumber = 0; ///< source line, 0 where unknown
    WString function;             ///< qualified name of the function
    WString message;

private:
    friend class LoggerBase;

    static Time now();
    void setTime();
};

} // namespace norq_std

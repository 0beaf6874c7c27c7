#pragma once

#include "base/Export.h"
#include "base/LogEventPriority.h"
#include "base/WString.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace norq_std_internal {
class LogRoad;
}

namespace norq_std {

class ILogAppender;

/// The process-wide log, as every layer of the library may call it.
///
/// Until a configured road is registered, a line goes to the debugger channel and, on request, to standard output, and
/// DEBUG and above count as enabled. No operation throws, and any thread may call any of them.
class NORQSTD_EXPORT StaticLog {
public:
    /// Whether callers log at this priority. Two relaxed loads and a comparison: no lock, no call.
    static bool isThresholdOn(LogEventPriority priority) {
        return priority >=
               (initialized.load(std::memory_order_relaxed) ? currentThreshold.load(std::memory_order_relaxed) : DEBUG);
    }

    static LogEventPriority getThreshold() { return currentThreshold.load(std::memory_order_relaxed); }

    /// Sends a line. The threshold is not tested here.
    static void log(LogEventPriority priority, const WString& function, const WString& message, const WString& module,
                    const WString& errorId, std::uint64_t threadId, const WString& fileName, std::uint32_t lineNumber);

    /// From now on lines that go to the debugger channel are printed on standard output too, whatever the argument is.
    static void enableConsoleLogging(bool enable);

    /// Add or remove an appender of the configured road; without one they do nothing.
    static void addAppender(const std::shared_ptr<ILogAppender>& appender);
    static void removeAppender(const std::shared_ptr<ILogAppender>& appender);

private:
    friend class norq_std_internal::LogRoad;

    static std::atomic<LogEventPriority> currentThreshold;
    static std::atomic<bool> logConsole;
    static std::atomic<bool> initialized;
};

} // namespace norq_std

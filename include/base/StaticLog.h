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

class ConfigurationListener;
class ILogAppender;

/// The process-wide log, as every layer of the library may call it.
///
/// Until `initInstance`, or without a configured appender, a line goes to the debugger channel and, on request, to
/// standard output, and DEBUG and above count as enabled. Then lines go to the appenders of the configuration file,
/// whose changes are followed (docs/logging.md). No operation but `getConfigPath` throws, and any thread may call any
/// of them.
class NORQSTD_EXPORT StaticLog {
public:
    StaticLog() = delete;

    /// Starts the log of the process from `moduleName`.cfg in the configuration folder, which `Paths` has under "System
    /// Config Path Key", else in ../config. A second call does nothing. Whatever is wrong with the file leaves less
    /// logging, and a line on the debugger channel.
    static void initInstance(const WString& moduleName);
    /// The name given to `initInstance`, empty before.
    static WString getModuleName();
    /// The path of the configuration file. Throws `NorqIllegalStateException` before `initInstance`.
    static WString getConfigPath();

    /// Add or remove a listener of the configuration file; without a configured log they do nothing.
    static void addConfigurationListener(const std::shared_ptr<ConfigurationListener>& listener);
    static void removeConfigurationListener(const std::shared_ptr<ConfigurationListener>& listener);

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

#include "base/StaticLog.h"

#include "internal/LogRoad.h"
#include "platform/CancellationShield.h"
#include "platform/DebugOutput.h"
#include "platform/ThreadSuspension.h"

#include <cxxabi.h>

#include <charconv>

namespace norq_std {

using norq_std_internal::LogRoad;
using norq_std_internal::platform::CancellationShield;
using norq_std_internal::platform::SuspensionShield;

constinit std::atomic<LogEventPriority> StaticLog::currentThreshold{DEBUG};
constinit std::atomic<bool> StaticLog::logConsole{false};
constinit std::atomic<bool> StaticLog::initialized{false};

namespace {

/// "%ls : %ls" with the priority, below INFO "%ls[%u] : %ls" with the place; and one line feed. Put together by hand: a
/// formatted text has an end, and no line is lost here for its length.
WString unconfiguredLine(LogEventPriority priority, const WString& message, const WString& fileName,
                         std::uint32_t lineNumber) {
    WString line;
    if (priority >= INFO) {
        line = logEventPriorityToString(priority);
    } else {
        char digits[10];
        const char* const end = std::to_chars(std::begin(digits), std::end(digits), lineNumber).ptr;
        line.append(fileName).append(u"[").append(static_cast<const char*>(digits), end).append(u"]");
    }
    line.append(u" : ").append(message);
    if (line.back() != u'\n')
        line += u'\n';
    return line;
}

} // namespace

void StaticLog::log(LogEventPriority priority, const WString& function, const WString& message, const WString& module,
                    const WString& errorId, std::uint64_t threadId, const WString& fileName, std::uint32_t lineNumber) {
    const CancellationShield shield;
    const SuspensionShield noSuspension;
    try {
        if (LogRoad* const road = LogRoad::installed();
            road != nullptr && initialized.load(std::memory_order_acquire)) {
            road->log(priority, function, message, module, errorId, threadId, fileName, lineNumber);
            return;
        }
        const bool console = logConsole.load(std::memory_order_relaxed);
        if (!console && !norq_std_internal::platform::debugOutputOn())
            return;
        const WString line = unconfiguredLine(priority, message, fileName, lineNumber);
        norq_std_internal::platform::debugOutput(line);
        if (console)
            norq_std_internal::platform::consoleOutput(line);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) { // logging never fails toward the caller
    }
}

void StaticLog::enableConsoleLogging(bool) { logConsole.store(true, std::memory_order_relaxed); }

void StaticLog::addAppender(const std::shared_ptr<ILogAppender>& appender) {
    if (LogRoad* const road = LogRoad::installed(); road != nullptr)
        road->addAppender(appender);
}

void StaticLog::removeAppender(const std::shared_ptr<ILogAppender>& appender) {
    if (LogRoad* const road = LogRoad::installed(); road != nullptr)
        road->removeAppender(appender);
}

} // namespace norq_std

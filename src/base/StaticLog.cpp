#include "base/StaticLog.h"

#include "internal/LogRoad.h"
#include "platform/DebugOutput.h"

#include <charconv>

namespace norq_std {

using norq_std_internal::LogRecord;
using norq_std_internal::LogRoad;

constinit std::atomic<LogEventPriority> StaticLog::currentThreshold{DEBUG};
constinit std::atomic<bool> StaticLog::logConsole{false};
constinit std::atomic<bool> StaticLog::initialized{false};

namespace {

/// "%ls : %ls" with the priority, below INFO "%ls[%u] : %ls" with the place; and one line feed. Put together by hand: a
/// formatted text has an end, and no line is lost here for its length.
WString unconfiguredLine(const LogRecord& record) {
    WString line;
    if (record.priority >= INFO) {
        line = logEventPriorityToString(record.priority);
    } else {
        char digits[10];
        const char* const end = std::to_chars(std::begin(digits), std::end(digits), record.lineNumber).ptr;
        line.append(record.fileName).append(u"[").append(static_cast<const char*>(digits), end).append(u"]");
    }
    line.append(u" : ").append(record.message);
    if (line.back() != u'\n')
        line += u'\n';
    return line;
}

} // namespace

void StaticLog::log(LogEventPriority priority, const WString& function, const WString& message, const WString& module,
                    const WString& errorId, std::uint64_t threadId, const WString& fileName, std::uint32_t lineNumber) {
    LogRoad::send({priority, function, message, module, errorId, threadId, fileName, lineNumber});
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

namespace norq_std_internal {

using norq_std::StaticLog;

void LogRoad::sendUnconfigured(const LogRecord& record) {
    const bool console = StaticLog::logConsole.load(std::memory_order_relaxed);
    if (!console && !platform::debugOutputOn())
        return;
    const norq_std::WString line = norq_std::unconfiguredLine(record);
    platform::debugOutput(line);
    if (console)
        platform::consoleOutput(line);
}

} // namespace norq_std_internal

#pragma once

#include "base/Export.h"
#include "base/LogEventPriority.h"
#include "base/ThreadAnnotations.h"
#include "base/WString.h"
#include "concurrency/Lock.h"
#include "log/LogEvent.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace norq_std_internal {
class LogTimeText;
struct LogRecord;
} // namespace norq_std_internal

namespace norq_std {

class ILogAppender;
class RollingFileAppender;

/// Hands log events to a list of appenders, in order of adding.
///
/// Events reach the appenders one at a time, in the order in which the logging threads took the logger's lock; their
/// times are taken under that lock. The lock is recursive: a filter, layout or appender may log through the same
/// logger, and may add and remove appenders, which counts from the next event on. It must not wait for another thread
/// that logs.
///
/// A failing appender costs no other appender the event and never fails the caller; the library reports it as STD3012,
/// at most once in 30 seconds. A logger without appenders discards events.
class NORQSTD_EXPORT LoggerBase {
public:
    LoggerBase();
    LoggerBase(const LoggerBase&) = delete;
    LoggerBase& operator=(const LoggerBase&) = delete;
    virtual ~LoggerBase();

    /// Adds at the end of the list, unless the same object is in it. Null throws `NorqIllegalArgumentException`.
    void addAppender(const std::shared_ptr<ILogAppender>& appender);
    /// Removes the object; once this returns, no other thread is inside it on behalf of this logger.
    void removeAppender(const std::shared_ptr<ILogAppender>& appender);
    bool containsAppender(const std::shared_ptr<ILogAppender>& appender);

    /// Makes an event of now with these values and appends it. Nothing tests the priority but the appenders' filters.
    void log(LogEventPriority priority, const WString& function, const WString& message, const WString& module,
             const WString& errorId, std::uint64_t threadId, const WString& fileName, std::uint32_t lineNumber);
    /// Hands an event to every appender.
    void append(const LogEvent& event);

private:
    friend class StaticLogInstance;
    class Recipient;
    class Statement;
    using Recipients = std::vector<Recipient>;

    void log(const norq_std_internal::LogRecord& record);
    void removeAll();
    void runHeld(const std::function<void()>& body);

    void logInTurn(Statement& statement);
    bool waitForTurn(Statement& statement) NORQ_TRY_ACQUIRE(true, lock);
    void take(Statement& own, bool byEvents) NORQ_REQUIRES(lock);
    void finishTurn(Statement* first, const Statement& own) NORQ_REQUIRES(lock);
    Statement* withWaiting(Statement& own) NORQ_REQUIRES(lock);
    void deliverTogether(Statement* first) NORQ_REQUIRES(lock);
    void deliver(Statement& statement) NORQ_REQUIRES(lock);
    std::unique_ptr<LogEvent> makeEvent(const norq_std_internal::LogRecord& record, LogEvent::Time now)
        NORQ_REQUIRES(lock);
    void replace(std::shared_ptr<const Recipients> list) NORQ_REQUIRES(lock);
    static void appendTo(RollingFileAppender& ring, std::span<const std::string_view>& lines);
    void remember(LogEventPriority priority, int needed);

    Lock lock;
    /// Replaced, never changed, so that a walk survives additions; null if there are none.
    std::shared_ptr<const Recipients> recipients NORQ_GUARDED_BY(lock);
    /// Lists that were replaced while they were walked.
    std::vector<std::shared_ptr<const Recipients>> replaced NORQ_GUARDED_BY(lock);
    /// The event of the last statement, kept for the memory of its texts; null while it is under way.
    std::unique_ptr<LogEvent> spare NORQ_GUARDED_BY(lock);
    std::unique_ptr<norq_std_internal::LogTimeText> timeText NORQ_GUARDED_BY(lock);
    bool delivering NORQ_GUARDED_BY(lock) = false;
    /// What the last statement needed, up to DEBUG and above: a guess at the next.
    std::atomic<std::uint8_t> needs[2]{};
    /// Statements of threads that wait for the lock, the last first; whoever has the lock may write them.
    std::atomic<Statement*> waiting{nullptr};
};

} // namespace norq_std

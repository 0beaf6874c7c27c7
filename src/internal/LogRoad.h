#pragma once

#include "base/StaticLog.h"
#include "internal/LogRecord.h"
#include "platform/CancellationShield.h"
#include "platform/ThreadSuspension.h"

#include <cxxabi.h>

#include <atomic>
#include <functional>

namespace norq_std_internal {

/// The configured road behind `StaticLog`, hung in from above so that the base never includes the pipeline.
///
/// There is at most one; it is registered and taken back while no other thread logs through it, or it is never
/// destroyed. `setInitialized` opens it for lines; `setThreshold` may be called at any time.
class NORQSTD_EXPORT LogRoad {
public:
    virtual void log(const LogRecord& record) = 0;
    virtual void addAppender(const std::shared_ptr<norq_std::ILogAppender>& appender) = 0;
    virtual void removeAppender(const std::shared_ptr<norq_std::ILogAppender>& appender) = 0;

    /// Runs the body with the road's locks held, as a line of the log is written; without a road as it is. What is
    /// changed on the way of a line from another road than the line's is changed in here, so that the locks are taken
    /// in one order.
    static void whileHeld(const std::function<void()>& body);

    /// `StaticLog::log`, for a caller whose texts are no strings.
    static void send(const LogRecord& record) {
        const platform::CancellationShield shield;
        const platform::SuspensionShield noSuspension;
        try {
            if (LogRoad* const current = installed();
                current != nullptr && norq_std::StaticLog::initialized.load(std::memory_order_acquire)) [[likely]]
                current->log(record);
            else
                sendUnconfigured(record);
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (...) { // logging never fails toward the caller
        }
    }

    /// Registers the road; null takes it back.
    static void install(LogRoad* road);
    static LogRoad* installed() { return road.load(std::memory_order_acquire); }
    static void setInitialized(bool on);
    static void setThreshold(norq_std::LogEventPriority threshold);

protected:
    virtual void runHeld(const std::function<void()>& body) = 0;

    LogRoad() = default;
    LogRoad(const LogRoad&) = delete;
    LogRoad& operator=(const LogRoad&) = delete;
    ~LogRoad() = default;

private:
    static void sendUnconfigured(const LogRecord& record);

    static std::atomic<LogRoad*> road;
};

} // namespace norq_std_internal

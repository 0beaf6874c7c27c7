#pragma once

#include "base/StaticLog.h"

#include <functional>

namespace norq_std_internal {

/// The configured road behind `StaticLog`, hung in from above so that the base never includes the pipeline.
///
/// There is at most one; it is registered and taken back while no other thread logs through it, or it is never
/// destroyed. `setInitialized` opens it for lines; `setThreshold` may be called at any time.
class NORQSTD_EXPORT LogRoad {
public:
    virtual void log(norq_std::LogEventPriority priority, const norq_std::WString& function,
                     const norq_std::WString& message, const norq_std::WString& module,
                     const norq_std::WString& errorId, std::uint64_t threadId, const norq_std::WString& fileName,
                     std::uint32_t lineNumber) = 0;
    virtual void addAppender(const std::shared_ptr<norq_std::ILogAppender>& appender) = 0;
    virtual void removeAppender(const std::shared_ptr<norq_std::ILogAppender>& appender) = 0;

    /// Runs the body with the road's locks held, as a line of the log is written; without a road as it is. What is
    /// changed on the way of a line from another road than the line's is changed in here, so that the locks are taken
    /// in one order.
    static void whileHeld(const std::function<void()>& body);

    /// Registers the road; null takes it back.
    static void install(LogRoad* road);
    static LogRoad* installed();
    static void setInitialized(bool on);
    static void setThreshold(norq_std::LogEventPriority threshold);

protected:
    virtual void runHeld(const std::function<void()>& body) = 0;

    LogRoad() = default;
    LogRoad(const LogRoad&) = delete;
    LogRoad& operator=(const LogRoad&) = delete;
    ~LogRoad() = default;
};

} // namespace norq_std_internal

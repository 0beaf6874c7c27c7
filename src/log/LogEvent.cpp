#include "log/LogEvent.h"

#include "concurrency/TimeUtils.h"

namespace norq_std {

LogEvent::LogEvent() { setTime(); }

LogEvent::LogEvent(LogEventPriority eventPriority)
    : priority(eventPriority) {
    setTime();
}

LogEvent::LogEvent(const LogEvent&) = default;

LogEvent& LogEvent::operator=(const LogEvent&) = default;

LogEvent::~LogEvent() = default;

LogEvent::Time LogEvent::now() {
    const std::uint64_t now = TimeUtils::getCurrentTimeMs();
    return {static_cast<std::int64_t>(now / 1000), static_cast<std::uint16_t>(now % 1000)};
}

void LogEvent::setTime() { time = now(); }

} // namespace norq_std

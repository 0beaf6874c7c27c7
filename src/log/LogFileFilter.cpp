#include "log/LogFileFilter.h"

#include "log/LogEvent.h"

namespace norq_std {

LogFileFilter::LogFileFilter() = default;

LogFileFilter::~LogFileFilter() = default;

WString LogFileFilter::toString() const { return u"LogFileFilter{}"; }

LogFileFilter* LogFileFilter::newInstance(const Properties&) const { return new LogFileFilter; }

WString LogFileFilter::getClassName() const { return u"norq_std.LogFileFilter"; }

ILogEventFilter::FilterDecision LogFileFilter::decide(const LogEvent& event) {
    return isDebugEventPriority(event.priority) ? DENY : ACCEPT;
}

} // namespace norq_std

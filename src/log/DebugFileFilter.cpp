#include "log/DebugFileFilter.h"

namespace norq_std {

DebugFileFilter::DebugFileFilter() = default;

DebugFileFilter::~DebugFileFilter() = default;

WString DebugFileFilter::toString() const { return u"DebugFileFilter{}"; }

DebugFileFilter* DebugFileFilter::newInstance(const Properties&) const { return new DebugFileFilter; }

WString DebugFileFilter::getClassName() const { return u"norq_std.DebugFileFilter"; }

ILogEventFilter::FilterDecision DebugFileFilter::decide(const LogEvent&) { return ACCEPT; }

} // namespace norq_std

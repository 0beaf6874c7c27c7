#pragma once

#include "base/Configurable.h"
#include "base/Export.h"

namespace norq_std {

class LogEvent;

/// Decides which events an appender writes.
///
/// Immutable once made. A filter of the pipeline is called under the lock of its `LoggerBase`; what it throws costs its
/// appender that one event.
class NORQSTD_EXPORT ILogEventFilter : public Configurable {
public:
    enum FilterDecision {
        ACCEPT = 0,
        DENY = 1,
    };

    ~ILogEventFilter() override;

    /// Whether the event is written. Every answer but ACCEPT is a refusal.
    virtual FilterDecision decide(const LogEvent& event) = 0;
};

} // namespace norq_std

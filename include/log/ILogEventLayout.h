#pragma once

#include "base/Configurable.h"
#include "base/Export.h"
#include "base/WString.h"

namespace norq_std {

class LogEvent;

/// Renders an event as text.
///
/// Immutable once made. A layout of the pipeline is called under the lock of its `LoggerBase`; what it throws costs its
/// appender that one event.
class NORQSTD_EXPORT ILogEventLayout : public Configurable {
public:
    ~ILogEventLayout() override;

    /// The text that the appender writes, line end included.
    virtual WString format(const LogEvent& event) = 0;
};

} // namespace norq_std

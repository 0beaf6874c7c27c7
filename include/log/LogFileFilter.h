#pragma once

#include "base/AutoRegisterClass.h"
#include "base/Export.h"
#include "log/ILogEventFilter.h"

namespace norq_std {

/// The filter of the plain log file: accepts INFO and above.
///
/// Registered as "norq_std.LogFileFilter"; takes no properties. No state: any thread may use it.
class NORQSTD_EXPORT LogFileFilter : public ILogEventFilter, public AutoRegisterClass<LogFileFilter> {
public:
    LogFileFilter();
    ~LogFileFilter() override;

    WString toString() const override;
    LogFileFilter* newInstance(const Properties& properties) const override;
    WString getClassName() const override;
    FilterDecision decide(const LogEvent& event) override;
};

} // namespace norq_std

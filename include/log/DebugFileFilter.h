#pragma once

#include "base/AutoRegisterClass.h"
#include "base/Export.h"
#include "log/ILogEventFilter.h"

namespace norq_std {

/// The filter of the debug file, which holds everything: accepts every event.
///
/// Registered as "norq_std.DebugFileFilter"; takes no properties. No state: any thread may use it.
class NORQSTD_EXPORT DebugFileFilter : public ILogEventFilter, public AutoRegisterClass<DebugFileFilter> {
public:
    DebugFileFilter();
    ~DebugFileFilter() override;

    WString toString() const override;
    DebugFileFilter* newInstance(const Properties& properties) const override;
    WString getClassName() const override;
    FilterDecision decide(const LogEvent& event) override;
};

} // namespace norq_std

#pragma once

#include "base/AutoRegisterClass.h"
#include "base/Export.h"
#include "log/ILogAppender.h"

namespace norq_std {

/// Writes each line to the debugger channel, which the environment variable NORQSTD_DEBUG_OUTPUT names.
///
/// It starts with neither filter nor layout and so writes nothing until both are set. Registered as
/// "norq_std.OutputDebugAppender"; takes no properties.
class NORQSTD_EXPORT OutputDebugAppender : public ILogAppender, public AutoRegisterClass<OutputDebugAppender> {
public:
    OutputDebugAppender();
    ~OutputDebugAppender() override;

    WString toString() const override;
    OutputDebugAppender* newInstance(const Properties& properties) const override;
    WString getClassName() const override;

protected:
    void localAppend(const LogEvent& event) override;
    void localAppend(const WString& text) override;
};

} // namespace norq_std

#pragma once

#include "base/AutoRegisterClass.h"
#include "base/Export.h"
#include "log/ILogAppender.h"

#include <memory>

namespace norq_std_internal {
class NTEventLogWrapper;
}

namespace norq_std {

/// Reports events to the event log of the system: the journal, or syslog where there is none.
///
/// Of an event its error id and message are passed on, with a type and an identifier by its priority (docs/logging.md);
/// the event log adds time and process itself. It takes events, not lines: with a layout it writes nothing at all.
/// What the event log refuses is lost, and nobody is told.
///
/// Property: "sourceName", the name to report under; the log's module name without it. Registered as
/// "norq_std.NTEventLogAppender". Copies report through the same source, which is registered until the last of them
/// goes.
class NORQSTD_EXPORT NTEventLogAppender : public ILogAppender, public AutoRegisterClass<NTEventLogAppender> {
public:
    /// Without a source: it writes nothing. `newInstance` makes one that does.
    NTEventLogAppender();
    NTEventLogAppender(const NTEventLogAppender&);
    NTEventLogAppender& operator=(const NTEventLogAppender&);
    ~NTEventLogAppender() override;

    using ILogAppender::toString;
    /// Writes the registry entry of the source and registers it. Throws `NorqIOException` if either fails.
    NTEventLogAppender* newInstance(const Properties& properties) const override;
    WString getClassName() const override;

protected:
    void localAppend(const LogEvent& event) override;
    /// Does nothing.
    void localAppend(const WString& text) override;

private:
    std::shared_ptr<norq_std_internal::NTEventLogWrapper> wrapper;
};

} // namespace norq_std

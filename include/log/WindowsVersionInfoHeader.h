#pragma once

#include "base/AutoRegisterClass.h"
#include "base/Export.h"
#include "base/WString.h"
#include "log/RollingFileHeader.h"

#include <map>

namespace norq_std {

/// Tells at the top of a log file what ran: platform, host, folders, time and time zones, the log's settings, and each
/// loaded module with its version.
///
/// Every line begins with "VERSION INFO: ". Takes no properties.
class NORQSTD_EXPORT WindowsVersionInfoHeader : public RollingFileHeader,
                                                public AutoRegisterClass<WindowsVersionInfoHeader> {
public:
    WindowsVersionInfoHeader();
    ~WindowsVersionInfoHeader() override;

    WString toString() const override;
    WindowsVersionInfoHeader* newInstance(const Properties& properties) const override;
    WString getClassName() const override;

protected:
    void writeHeader(RollingFile& rollingFile) override;

private:
    void writeEnvironment(WString& text) const;
    void writeLoggingConfig(WString& text, const RollingFile& rollingFile) const;
    void writeModules(WString& text);
    void writeModule(WString& text, const WString& name, const WString& path);

    WString userDirectory;
    std::map<WString, WString> versions; // of the modules by path: a loaded module does not change
};

} // namespace norq_std

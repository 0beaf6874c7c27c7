#pragma once

#include "base/AutoRegisterClass.h"
#include "base/Export.h"
#include "base/WString.h"
#include "config/ConfigurationListener.h"
#include "log/ILogAppender.h"
#include "log/RollingFile.h"

#include <chrono>
#include <cstdint>
#include <memory>

namespace norq_std {

/// Writes each line in windows-1252 to a ring of files.
///
/// Properties: "path" (in quotes or not; a bare name lies in the log folder, which `Paths` has under "System Log Path
/// Key"; without it, the log's module name with ".log", or ".dbg" for the debug file), "size" of one file (at least
/// 1 MiB, the default), "files" in the ring (at least 1, the default), "layout.debug" (exactly "true": this is the
/// debug file, which is open only while the threshold is below INFO) and "always_open" (exactly "true": a debug file
/// stays open whatever the threshold is). "size", "files" and "always_open" may be changed while it lives.
///
/// A line that cannot be written is lost, and the caller is not told. When the file could not be opened or rolled, on a
/// full disk say, it is tried again with the next line, but not more than once a second. Registered as
/// "norq_std.RollingFileAppender".
class NORQSTD_EXPORT RollingFileAppender : public ILogAppender,
                                           public ConfigurationListener,
                                           public AutoRegisterClass<RollingFileAppender> {
public:
    static constexpr std::int32_t MinFileSize = 1048576; ///< in bytes
    static constexpr std::int32_t MinFiles = 1;

    RollingFileAppender();
    RollingFileAppender(const RollingFileAppender&) = delete;
    RollingFileAppender& operator=(const RollingFileAppender&) = delete;
    ~RollingFileAppender() override;

    WString toString() const override;
    /// Throws `NorqIllegalArgumentException` for a path that is none, `NorqIOException` if the ring's number cannot be
    /// stored.
    RollingFileAppender* newInstance(const Properties& properties) const override;
    void setProperty(const WString& key, const WString& value) override;
    WString getClassName() const override;

    std::uint32_t getMaximumSize() const { return rollingFile.getMaximumSize(); }
    std::uint32_t getMaximumFiles() const { return rollingFile.getMaximumFiles(); }
    bool getAlwaysOpen() const { return alwaysOpen; }

    /// Opens and closes the debug file as the threshold in the log's configuration changes.
    void onConfigChange(const ConfigurationChangeEvent& event) override;

protected:
    void localAppend(const LogEvent& event) override;
    void localAppend(const WString& text) override;

    /// Takes over the properties and opens the file.
    void setupInstance(const Properties& properties);

    RollingFile rollingFile;

private:
    friend class LoggerBase;
    using Clock = std::chrono::steady_clock;

    void followThreshold(const ConfigurationChangeEvent& event);
    void setWanted(bool open);
    bool isOpenOrReopened();

    std::shared_ptr<RollingFileHeader> header;
    bool debugFile = false;
    bool alwaysOpen = false;
    bool wanted = false; // the file is meant to be open
    Clock::time_point nextAttempt;
};

} // namespace norq_std

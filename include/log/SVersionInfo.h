#pragma once

#include "base/Export.h"
#include "base/SWString.h"

#include <cstdio>
#include <memory>
#include <set>

namespace norq_std_internal {
class VersionBlock;
}

namespace NorqStd {

class SLog;

/// The version resource of a file and the start-up banner of a log file, for older callers.
///
/// New code reads a resource with `norq_std::FileVersionInfo`. Text goes to a stream in code page 0; a failing stream
/// is its caller's to look at. An object belongs to one thread at a time.
class NORQSTD_EXPORT SVersionInfo {
public:
    SVersionInfo();
    explicit SVersionInfo(const SWString& filename);
    SVersionInfo(const SVersionInfo& other);
    SVersionInfo& operator=(const SVersionInfo& other);
    ~SVersionInfo();

    /// Reads the resource of a file in place of the present one.
    void SetFilename(const SWString& filename);
    SWString GetFilename() const;
    /// Whether the file was read and holds a resource.
    bool IsValid() const;

    // "Invalid filename" if there is no resource, empty for a key that it lacks.

    SWString GetProductName() const;
    SWString GetProductVersion() const;
    SWString GetCompanyName() const;
    SWString GetCopyright() const;
    SWString GetComments() const;
    SWString GetFileDescription() const;
    SWString GetFileVersion() const;
    SWString GetInternalName() const;
    SWString GetLegalTrademarks() const;
    SWString GetPrivateBuild() const;
    SWString GetSpecialBuild() const;

    /// Adds a file to the modules of the banner; with a stream, and if it is new, writes its line there. Returns true.
    bool AddModule(std::FILE* stream, const SWString& module);
    bool DeleteModule(const SWString& module);
    /// Writes the banner: platform, host, time zones, time, the log's settings, and a line for each module, whose file
    /// is the object's afterwards. Without a log it writes nothing and returns false.
    bool WriteModuleVerInfo(std::FILE* stream, const SLog* log);

private:
    void writeModule(std::FILE* stream, const SWString& module);

    SWString filename;
    std::unique_ptr<norq_std_internal::VersionBlock> block;
    std::set<SWString> modules;
};

/// The name of the operating system as older logs give it; "Failed to get correct Operating System." on a system that
/// their table does not know, and so on every system but the original ones.
NORQSTD_EXPORT SWString GetOSName();
/// The machine's host name; empty if it cannot be had.
NORQSTD_EXPORT SWString GetHostName();
/// The local time as "2026-01-31 09:05:07.012 ", with a trailing blank; empty if it cannot be had.
NORQSTD_EXPORT SWString GetCurrentTimestamp();

} // namespace NorqStd

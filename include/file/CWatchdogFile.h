#pragma once

#include "base/Export.h"
#include "base/SWString.h"

#include <cstdint>

namespace NorqStd {

/// The state of a file at the moment at which the object was made.
///
/// Times are in units of 100 nanoseconds since 1601 began. No file of this platform has the archive flag, and few file
/// systems compress. Of a file that is not there, all but the names is zero.
class NORQSTD_EXPORT CWatchdogFile {
public:
    /// An empty directory means the current one. A separator between the two is put in where it is missing.
    CWatchdogFile(const SWString& directory, const SWString& fileName);

    /// Takes over all but the names.
    void update(const CWatchdogFile& fresh);

    bool exists = false;
    SWString name; ///< as given
    SWString fullPath;
    std::uint64_t size = 0;
    bool isReadOnly = false;
    bool isHidden = false;
    bool isArchive = false;
    bool isCompressed = false;
    std::uint64_t creationTime = 0;
    std::uint64_t lastWriteTime = 0;
};

} // namespace NorqStd

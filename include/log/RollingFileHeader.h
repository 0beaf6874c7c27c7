#pragma once

#include "base/Configurable.h"
#include "base/Export.h"

namespace norq_std {

class RollingFile;

/// Writes the block at the top of each file of a `RollingFile`, through `RollingFile::write`.
class NORQSTD_EXPORT RollingFileHeader : public Configurable {
protected:
    friend class RollingFile;

    /// Called with the lock of the file held each time that it was opened.
    virtual void writeHeader(RollingFile& rollingFile) = 0;

    /// `writeHeader`, without its failures: no header stops a file from opening.
    void callWriteHeader(RollingFile& rollingFile);
};

} // namespace norq_std

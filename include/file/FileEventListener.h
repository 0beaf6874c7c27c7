#pragma once

#include "base/Export.h"
#include "base/WString.h"

namespace norq_std {

/// Hears of events in the directory of a `FileMonitor`, on the thread of that monitor.
///
/// One that throws is removed from its monitor. It may add and remove listeners, and may be called once more after its
/// removal.
class NORQSTD_EXPORT FileEventListener {
public:
    virtual void fileDeleted(const WString& directory, const WString& fileName) = 0;
    virtual void fileCreated(const WString& directory, const WString& fileName) = 0;
    virtual void fileAttributeChanged(const WString& directory, const WString& fileName) = 0;
    virtual void fileSizeChanged(const WString& directory, const WString& fileName) = 0;
    virtual void fileLastWriteTimeChanged(const WString& directory, const WString& fileName) = 0;
    virtual ~FileEventListener();

protected:
    FileEventListener() = default;
    FileEventListener(const FileEventListener&) = default;
    FileEventListener& operator=(const FileEventListener&) = default;
};

} // namespace norq_std

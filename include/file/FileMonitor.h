#pragma once

#include "base/Object.h"
#include "concurrency/Lock.h"
#include "file/File.h"

#include <memory>

namespace norq_std_internal {
class FileMonitorImpl;
class FileEventListeners;
} // namespace norq_std_internal

namespace norq_std {

class FileEventListener;

/// Follows files of one directory, with a thread of its own, in finer categories than `FileWatcher`: deleted, created,
/// attributes, size, time of the last write.
///
/// Changes are gathered for 50 milliseconds. Set the directory and the files first, then start: a monitor that is
/// started without files does not follow any, which only the debug log tells, and a new directory holds from the next
/// start. The destructor stops the monitor; a listener that runs longer than 150 milliseconds is not waited for, and
/// may return after the object has gone. Any thread may call any operation, a listener included.
class NORQSTD_EXPORT FileMonitor : public Object {
public:
    FileMonitor();
    explicit FileMonitor(const File& directory);
    ~FileMonitor() override;
    FileMonitor(const FileMonitor&) = delete;
    FileMonitor& operator=(const FileMonitor&) = delete;

    WString toString() const override;

    // These throw `NorqIllegalArgumentException` for what is not a directory or not the name of a file.

    void setDirectory(const File& directory);
    File getDirectory() const;
    void addFile(const WString& fileName);
    void removeFile(const WString& fileName);
    void clearFileList();

    void startMonitoring();
    void stopMonitoring();

    /// A listener that is there already is not added again.
    void addListener(const std::shared_ptr<FileEventListener>& listener);
    void removeListener(const std::shared_ptr<FileEventListener>& listener);

protected:
    void notifyFileDeleted(const WString& directory, const WString& fileName);
    void notifyFileCreated(const WString& directory, const WString& fileName);
    void notifyFileAttributeChange(const WString& directory, const WString& fileName);
    void notifyFileSizeChange(const WString& directory, const WString& fileName);
    void notifyFileLastWriteTimeChange(const WString& directory, const WString& fileName);

private:
    mutable Lock lock; // one operation at a time; listeners have a lock of their own, so that a stop delays no call
    const std::shared_ptr<norq_std_internal::FileEventListeners> listeners;
    const std::shared_ptr<norq_std_internal::FileMonitorImpl> pimpl;
};

} // namespace norq_std

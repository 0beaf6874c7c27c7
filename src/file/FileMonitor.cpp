#include "file/FileMonitor.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "file/FileEventListener.h"
#include "internal/FileMonitorImpl.h"

#include <vector>

namespace norq_std {

using norq_std_internal::FileEventListeners;
using norq_std_internal::FileMonitorImpl;

FileMonitor::FileMonitor()
    : listeners(std::make_shared<FileEventListeners>())
    , pimpl(std::make_shared<FileMonitorImpl>(listeners)) {}

FileMonitor::FileMonitor(const File& directory)
    : FileMonitor() {
    setDirectory(directory);
}

FileMonitor::~FileMonitor() = default;

WString FileMonitor::toString() const { return u"FileMonitor{}"; }

void FileMonitor::setDirectory(const File& directory) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileMonitor::setDirectory");
    const AutoLock<Lock> guard(lock);
    if (!directory.exists())
        throw NorqIllegalArgumentException(u"Directory to monitor doesn't exist!");
    const int result = pimpl->watchdog().SetDirectory(directory.getPath() + File::pathSeparator);
    ErrorUtils::isNotEqualEx(result, 0, u"norq_std::FileMonitor::setDirectory", u"directory");
}

File FileMonitor::getDirectory() const {
    const AutoLock<Lock> guard(lock);
    NorqStd::SWString directory;
    pimpl->watchdog().GetDirectory(directory);
    return File(directory);
}

void FileMonitor::addFile(const WString& fileName) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileMonitor::addFile");
    ErrorUtils::isEmptyEx(fileName, u"norq_std::FileMonitor::addFile", u"filename");
    File::assertFilenameIsValid(fileName);
    const AutoLock<Lock> guard(lock);
    const int result = pimpl->watchdog().AddFileToList(fileName);
    ErrorUtils::isNotEqualEx(result, 0, u"norq_std::FileMonitor::addFile", u"file");
}

void FileMonitor::removeFile(const WString& fileName) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileMonitor::removeFile");
    const AutoLock<Lock> guard(lock);
    pimpl->watchdog().RemoveFileFromList(fileName);
}

void FileMonitor::clearFileList() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileMonitor::clearFileList");
    const AutoLock<Lock> guard(lock);
    std::vector<NorqStd::CWatchdogFile> files;
    pimpl->watchdog().GetFileList(files);
    for (const NorqStd::CWatchdogFile& file : files)
        pimpl->watchdog().RemoveFileFromList(file.name);
}

void FileMonitor::startMonitoring() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileMonitor::startMonitoring");
    const AutoLock<Lock> guard(lock);
    pimpl->startMonitoring();
}

void FileMonitor::stopMonitoring() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileMonitor::stopMonitoring");
    const AutoLock<Lock> guard(lock);
    pimpl->stopMonitoring();
}

void FileMonitor::addListener(const std::shared_ptr<FileEventListener>& listener) { listeners->add(listener); }

void FileMonitor::removeListener(const std::shared_ptr<FileEventListener>& listener) { listeners->remove(listener); }

void FileMonitor::notifyFileDeleted(const WString& directory, const WString& fileName) {
    listeners->notify(&FileEventListener::fileDeleted, directory, fileName);
}
void FileMonitor::notifyFileCreated(const WString& directory, const WString& fileName) {
    listeners->notify(&FileEventListener::fileCreated, directory, fileName);
}
void FileMonitor::notifyFileAttributeChange(const WString& directory, const WString& fileName) {
    listeners->notify(&FileEventListener::fileAttributeChanged, directory, fileName);
}
void FileMonitor::notifyFileSizeChange(const WString& directory, const WString& fileName) {
    listeners->notify(&FileEventListener::fileSizeChanged, directory, fileName);
}
void FileMonitor::notifyFileLastWriteTimeChange(const WString& directory, const WString& fileName) {
    listeners->notify(&FileEventListener::fileLastWriteTimeChanged, directory, fileName);
}

} // namespace norq_std

#pragma once

#include "pattern/Singleton.h"

#include <memory>

namespace norq_std_internal {
class FileWatcherImpl;
}

namespace norq_std {

class File;
class IFileListener;

/// Tells listeners of changes to files, existing or not, within milliseconds of the change.
///
/// One thread serves the whole process, whatever the number of files; it starts with the first call and goes on to the
/// end of the process. A call made when no thread could be started does nothing. What counts as a change, and what
/// happens to directories that go and come back, stands in docs/file-watching.md. To follow one directory in finer
/// categories with a thread of its own, see `FileMonitor`.
///
/// Any thread may call anything here, a listener while it is called included. A `File` that is relative means what it
/// meant when it was registered.
class NORQSTD_EXPORT FileWatcher : public Singleton<FileWatcher> {
public:
    /// Registers the listener for the file; a second time for the same file changes nothing, and neither does a null
    /// listener. Throws `NorqIOException` if the directory of the file cannot be watched; the listener is then not
    /// registered, and the next call tries again.
    static void addListener(const std::shared_ptr<IFileListener>& listener, const File& file);

    /// Removes the listener for that file, or for all. It may still be called once, if a change was being told.
    static void removeListener(const std::shared_ptr<IFileListener>& listener, const File& file);
    static void removeListener(const std::shared_ptr<IFileListener>& listener);

private:
    friend class Singleton<FileWatcher>;

    FileWatcher();
    ~FileWatcher() = default;

    static const WChar* getSingletonName();

    std::shared_ptr<norq_std_internal::FileWatcherImpl> pimpl; ///< empty if the thread could not be started
};

} // namespace norq_std

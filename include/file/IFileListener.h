#pragma once

#include "base/Export.h"

namespace norq_std {

class File;

/// Hears of changes to a file that it is registered for with `FileWatcher`.
///
/// A listener overrides what it needs; each operation does nothing by default. All calls come from the one thread of
/// the `FileWatcher`: while a listener runs, no other is told of anything, so it should be brief. It may register and
/// remove listeners, itself included, and may be called once more after its removal. An exception that leaves a
/// listener ends the watching of the whole process.
class NORQSTD_EXPORT IFileListener {
public:
    virtual void onFileDeleted(const File& file);
    virtual void onFileCreated(const File& file);
    /// The permissions or the kind of the file changed, and nothing else that is told.
    virtual void onFileAttributeChange(const File& file);
    /// The size or the time of the last modification changed.
    virtual void onFileContentChange(const File& file);

    virtual ~IFileListener();

protected:
    IFileListener() = default;
    IFileListener(const IFileListener&) = default;
    IFileListener& operator=(const IFileListener&) = default;
};

} // namespace norq_std

#pragma once

#include "file/IFileListener.h"

#include <mutex>

namespace norq_std_internal {

/// Stands between the file watcher and a listener that may be destroyed at any time.
///
/// The watcher calls listeners out of a copied list, so that one may be called after its removal. It owns this object
/// and calls it; the listener behind is called only until `detach`.
class ConfigFileRelay : public norq_std::IFileListener {
public:
    explicit ConfigFileRelay(norq_std::IFileListener& listener)
        : target(&listener) {}

    void onFileDeleted(const norq_std::File& file) override { pass(&IFileListener::onFileDeleted, file); }
    void onFileCreated(const norq_std::File& file) override { pass(&IFileListener::onFileCreated, file); }
    /// Of a file that was replaced by one with other permissions this is all that is told.
    void onFileAttributeChange(const norq_std::File& file) override { pass(&IFileListener::onFileContentChange, file); }
    void onFileContentChange(const norq_std::File& file) override { pass(&IFileListener::onFileContentChange, file); }

    /// From the return on, the listener is not called any more. Waits for a call that another thread is making.
    void detach() {
        const std::lock_guard guard(mutex);
        target = nullptr;
    }

private:
    void pass(void (IFileListener::*call)(const norq_std::File&), const norq_std::File& file) {
        const std::lock_guard guard(mutex);
        if (target != nullptr)
            (target->*call)(file);
    }

    // Held during a call, in which the listener may come back here.
    std::recursive_mutex mutex;
    norq_std::IFileListener* target;
};

} // namespace norq_std_internal

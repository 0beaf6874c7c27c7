#include "file/FileWatcher.h"

#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "windows/FileWatcherImpl.h"

#include <atomic>

namespace norq_std {
namespace {

std::atomic<bool> everUsed{false}; // nothing is registered, and no thread needed, before the first registration

} // namespace

FileWatcher::FileWatcher() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileWatcher::FileWatcher");
    try {
        pimpl = std::make_shared<norq_std_internal::FileWatcherImpl>();
        pimpl->start();
    } catch (const NorqException& failure) {
        NORQ_LOG(DEBUG, u"norq_std::FileWatcher::FileWatcher",
                 u"Unable to start file watcher thread.  File monitoring will have no effect. %ls",
                 failure.getMessage().c_str());
        pimpl.reset();
    }
}

const WChar* FileWatcher::getSingletonName() { return u"norq_std::FileWatcher"; }

void FileWatcher::addListener(const std::shared_ptr<IFileListener>& listener, const File& file) {
    everUsed = true;
    if (const auto& impl = getInstance().pimpl)
        impl->addListener(listener, file);
}

void FileWatcher::removeListener(const std::shared_ptr<IFileListener>& listener, const File& file) {
    if (!everUsed)
        return;
    if (const auto& impl = getInstance().pimpl)
        impl->removeListener(listener, file);
}

void FileWatcher::removeListener(const std::shared_ptr<IFileListener>& listener) {
    if (!everUsed)
        return;
    if (const auto& impl = getInstance().pimpl)
        impl->removeListener(listener);
}

} // namespace norq_std

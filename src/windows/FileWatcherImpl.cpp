// How a pass is cut. The directory's handle is signalled once for each notification of the kernel, and a pass deals
// with one signal: with the entry that was named, or with all files where no name is known. So two files that change at
// the same time are two notifications, two passes and two calls, whether or not the thread was busy meanwhile; and only
// where notifications were lost or the directory itself came, went or was replaced does one look at all files tell no
// more than the last change that it finds. A file that nobody named cannot have changed, unless it is a link: those are
// looked at with every name.

#include "windows/FileWatcherImpl.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "base/WideChar.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "file/IFileListener.h"
#include "platform/DirectoryChange.h"
#include "platform/Error.h"
#include "platform/FileSystem.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace norq_std_internal {

using namespace norq_std;

namespace {

constexpr std::int32_t DestructorWaitMs = 250;
constexpr std::uint32_t EveryChange = platform::FileNameChanges | platform::DirectoryNameChanges |
                                      platform::AttributeChanges | platform::SizeChanges | platform::LastWriteChanges |
                                      platform::SecurityChanges;
static_assert(EveryChange == 0x11F);

WString canonicalOf(const File& file) {
    try {
        return file.getCanonicalPath();
    } catch (const NorqIOException& failure) {
        NORQ_LOG(DEBUG, u"norq_std_internal::FileComparator::operator()", u"Could not get canonical path: '%ls'",
                 failure.getMessage().c_str());
        return file.getPath();
    }
}

WString lower(WString text) {
    std::transform(text.begin(), text.end(), text.begin(), &WideChar::toLower);
    return text;
}

std::unique_ptr<platform::Event> makeEvent(platform::Event::Reset reset, const WChar* failure) {
    auto event = std::make_unique<platform::Event>(reset);
    if (!event->valid())
        throw NorqUnknownException(failure, ErrorUtils::getLastError());
    return event;
}

[[noreturn]] void throwNotMonitored(const WString& directory, const std::u16string& advice) {
    const std::int32_t error = ErrorUtils::getLastError();
    WString description = ErrorUtils::getErrorDescription(error);
    if (!advice.empty())
        description += u"; " + advice;
    NORQ_LOG(DEBUG, u"norq_std_internal::FileWatcherImpl::addListener",
             u"Error creating monitor event for directory <%ls> : '%ls'", directory.c_str(), description.c_str());
    if (advice.empty())
        throw NorqIOException(u"Could not monitor directory", error);
    throw NorqIOException(u"Could not monitor directory", error, NorqOutOfResourcesException(description, error));
}

} // namespace

/// What a pass is to tell.
struct FileWatcherImpl::Notification {
    Operation operation = nullptr;
    File file;
    std::list<ListenerPtr> listeners;
};

// ---- keys

FileWatcherImpl::WatchedPath::WatchedPath(const File& watched)
    : file(watched)
    , canonical(canonicalOf(watched))
    , lowered(lower(canonical)) {}

FileWatcherImpl::DirectoryInfo::DirectoryInfo(WatchedPath directory)
    : path(std::move(directory)) {}

FileWatcherImpl::DirectoryInfo::~DirectoryInfo() = default;

FileWatcherImpl::Files::iterator FileWatcherImpl::DirectoryInfo::find(std::u16string_view name) {
    WString key = path.lowered;
    if (key.empty() || key.back() != File::pathSeparator)
        key += File::pathSeparator;
    return files.find(std::u16string_view(key += lower(WString(name))));
}

// ---- the object

FileWatcherImpl::FileWatcherImpl()
    : Thread(u"norq_std::FileWatcherImpl")
    , state(std::make_shared<State>()) {}

FileWatcherImpl::~FileWatcherImpl() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std_internal::FileWatcherImpl::~FileWatcherImpl");
    state->shutDown();
    join(DestructorWaitMs);
}

void FileWatcherImpl::addListener(const ListenerPtr& listener, const File& file) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std_internal::FileWatcherImpl::addListener");
    if (listener != nullptr)
        state->addListener(listener, file);
}

void FileWatcherImpl::removeListener(const ListenerPtr& listener, const File& file) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std_internal::FileWatcherImpl::removeListener");
    state->removeListener(listener, file);
}

void FileWatcherImpl::removeListener(const ListenerPtr& listener) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std_internal::FileWatcherImpl::removeListener");
    state->removeListener(listener);
}

void FileWatcherImpl::run() {
    const std::shared_ptr<State> own = state;
    own->run();
}

// ---- registrations

FileWatcherImpl::State::State()
    : group(std::make_unique<platform::DirectoryChangeGroup>())
    , shutdownEvent(makeEvent(platform::Event::Reset::Manual, u"Could not create Shutdown Event"))
    , updateEvent(makeEvent(platform::Event::Reset::Auto, u"Could not create Update Event")) {}

FileWatcherImpl::State::~State() = default;

void FileWatcherImpl::State::shutDown() { shutdownEvent->set(); }

/// A directory that cannot be watched gets no record, so the next registration tries again.
FileWatcherImpl::DirectoryInfo& FileWatcherImpl::State::directoryOf(const WatchedPath& file) {
    WatchedPath parent(File(file.canonical).getParentFile());
    if (const auto known = directories.find(parent.lowered); known != directories.end())
        return *known->second;
    auto directory = std::make_unique<DirectoryInfo>(std::move(parent));
    const WatchedPath& path = directory->path;
    std::u16string advice;
    directory->handle = group->open(path.canonical, EveryChange, advice);
    if (directory->handle == nullptr)
        throwNotMonitored(path.canonical, advice);
    return *directories.emplace(path.lowered, std::move(directory)).first->second;
}

void FileWatcherImpl::State::addListener(const ListenerPtr& listener, const File& file) {
    const WatchedPath path(file);
    const AutoLock<Lock> guard(lock);
    DirectoryInfo& directory = directoryOf(path);
    const auto [entry, added] = directory.files.try_emplace(path);
    FileRecord& record = entry->second;
    if (platform::FileStatus status; added && readStatus(directory, *entry, status)) {
        record.existed = true;
        record.size = status.size;
        record.modificationTime = status.modificationTime;
        record.mode = status.mode;
    }
    if (std::find(record.listeners.begin(), record.listeners.end(), listener) == record.listeners.end())
        record.listeners.push_back(listener);
    updateEvent->set();
}

void FileWatcherImpl::State::removeListener(const ListenerPtr& listener, const File& file) {
    const WatchedPath path(file);
    const AutoLock<Lock> guard(lock);
    const auto directory = directories.find(WatchedPath(File(path.canonical).getParentFile()).lowered);
    if (directory == directories.end())
        return;
    const auto entry = directory->second->files.find(path);
    if (entry == directory->second->files.end())
        return;
    entry->second.listeners.remove(listener);
    listenersWereRemoved = true;
    updateEvent->set();
}

void FileWatcherImpl::State::removeListener(const ListenerPtr& listener) {
    const AutoLock<Lock> guard(lock);
    for (const auto& [key, directory] : directories)
        for (auto& [path, record] : directory->files)
            record.listeners.remove(listener);
    listenersWereRemoved = true;
    updateEvent->set();
}

// ---- the thread

void FileWatcherImpl::State::run() {
    while (waitForDirectories())
        cleanDirectories();
}

/// True once the registrations have changed, false at the end of the thread.
bool FileWatcherImpl::State::waitForDirectories() {
    std::vector<platform::WaitObject*> objects{updateEvent.get()};
    {
        const AutoLock<Lock> guard(lock);
        objects.reserve(directories.size() + 2);
        for (const auto& [key, directory] : directories)
            objects.push_back(directory->handle.get());
    }
    objects.push_back(shutdownEvent.get());
    const int last = static_cast<int>(objects.size()) - 1;
    for (;;) {
        const int index = platform::waitForAny(objects, -1);
        if (index == 0)
            return true;
        if (index < 0 || index >= last) {
            NORQ_LOG(DEBUG, u"norq_std_internal::FileWatcherImpl::run",
                     u"WaitForMultipleObjects returned %d.  Shutting down.", index);
            return false;
        }
        updateAndNotifyDirectory(static_cast<platform::DirectoryChange&>(*objects[static_cast<std::size_t>(index)]));
    }
}

/// Called by the thread alone, which is between two waits: no wait holds a handle that goes here.
void FileWatcherImpl::State::cleanDirectories() {
    const AutoLock<Lock> guard(lock);
    if (!std::exchange(listenersWereRemoved, false))
        return;
    for (auto directory = directories.begin(); directory != directories.end();) {
        DirectoryInfo& info = *directory->second;
        for (auto entry = info.files.begin(); entry != info.files.end();) {
            if (!entry->second.listeners.empty()) {
                ++entry;
                continue;
            }
            NORQ_LOG(DEBUG, u"norq_std_internal::FileWatcherImpl::cleanDirectories",
                     u"Subscriber list for file <%ls> is empty; removing.", entry->first.file.getPath().c_str());
            info.links -= entry->second.isLink ? 1 : 0;
            entry = info.files.erase(entry);
        }
        if (info.files.empty()) {
            NORQ_LOG(DEBUG, u"norq_std_internal::FileWatcherImpl::cleanDirectories",
                     u"File list for directory <%ls> is empty; removing.", info.path.file.getPath().c_str());
            directory = directories.erase(directory);
        } else {
            ++directory;
        }
    }
}

void FileWatcherImpl::State::updateAndNotifyDirectory(platform::DirectoryChange& handle) {
    Notification noted;
    {
        const AutoLock<Lock> guard(lock);
        const auto found = std::find_if(directories.begin(), directories.end(),
                                        [&](const auto& entry) { return entry.second->handle.get() == &handle; });
        if (found == directories.end()) {
            NORQ_LOG(DEBUG, u"norq_std_internal::FileWatcherImpl::updateAndNotifyDirectory",
                     u"The specified directory <0x%x> is no longer being monitored.",
                     static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(&handle)));
            return;
        }
        DirectoryInfo& directory = *found->second;
        platform::Change change;
        if (!handle.next(change)) // fetched before the look: what changes from here on is signalled again
            return;
        const auto named = change.everything ? directory.files.end() : directory.find(change.name);
        if (change.everything || directory.links > 0) {
            for (auto& entry : directory.files)
                if (change.everything || entry.second.isLink || &entry == std::to_address(named))
                    look(directory, entry, noted);
        } else if (named != directory.files.end()) {
            look(directory, *named, noted);
        }
    }
    for (const ListenerPtr& listener : noted.listeners)
        (listener.get()->*noted.operation)(noted.file);
}

/// Compares a file with its record, and notes what is to be told in place of what was noted before.
void FileWatcherImpl::State::look(DirectoryInfo& directory, Files::value_type& entry, Notification& noted) {
    FileRecord& record = entry.second;
    platform::FileStatus status;
    const bool exists = readStatus(directory, entry, status);
    Operation operation = nullptr;
    if (exists != record.existed) {
        operation = exists ? &IFileListener::onFileCreated : &IFileListener::onFileDeleted;
    } else if (exists) {
        if (status.size != record.size || status.modificationTime != record.modificationTime)
            operation = &IFileListener::onFileContentChange;
        if (status.mode != record.mode)
            operation = &IFileListener::onFileAttributeChange;
    }
    record.existed = exists;
    if (exists) {
        record.size = status.size;
        record.modificationTime = status.modificationTime;
        record.mode = status.mode;
    }
    if (operation != nullptr)
        noted = {operation, entry.first.file, record.listeners};
}

/// The state of what the path leads to; false if it leads nowhere.
bool FileWatcherImpl::State::readStatus(DirectoryInfo& directory, Files::value_type& entry,
                                        platform::FileStatus& status) {
    const WString& path = entry.first.canonical;
    const bool there = platform::linkStatus(path, status);
    const bool link = there && status.kind == platform::FileStatus::Kind::Link;
    if (link != entry.second.isLink) {
        entry.second.isLink = link;
        directory.links += link ? 1 : static_cast<std::size_t>(-1);
    }
    return link ? platform::fileStatus(path, status) : there;
}

} // namespace norq_std_internal

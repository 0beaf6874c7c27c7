#pragma once

#include "concurrency/Lock.h"
#include "file/File.h"
#include "thread/Thread.h"

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string_view>

namespace norq_std {
class IFileListener;
}

namespace norq_std_internal {

namespace platform {
class DirectoryChange;
class DirectoryChangeGroup;
class Event;
struct FileStatus;
} // namespace platform

/// The registrations behind `FileWatcher`, and the thread that waits for their directories.
///
/// The body co-owns what it works on: it may be in a listener when the object is destroyed, and then ends as soon as
/// the listener returns.
class NORQSTD_EXPORT FileWatcherImpl : public norq_std::Thread {
public:
    using ListenerPtr = std::shared_ptr<norq_std::IFileListener>;

    /// Throws `NorqUnknownException` if the system has no room for the events. Does not start the thread.
    FileWatcherImpl();
    /// Tells the thread to end and waits for it, but not for long.
    ~FileWatcherImpl() override;

    void addListener(const ListenerPtr& listener, const norq_std::File& file);
    void removeListener(const ListenerPtr& listener, const norq_std::File& file);
    void removeListener(const ListenerPtr& listener);

    void run() override;

private:
    /// A file with what it is ordered by, worked out once.
    struct WatchedPath {
        explicit WatchedPath(const norq_std::File& watched);

        norq_std::File file;
        norq_std::WString canonical; ///< the path as it stands, if there is no canonical one
        norq_std::WString lowered;
    };

    /// Orders by canonical path, without regard to case.
    struct FileComparator {
        using is_transparent = void;

        bool operator()(const WatchedPath& a, const WatchedPath& b) const { return a.lowered < b.lowered; }
        bool operator()(const WatchedPath& a, std::u16string_view b) const { return a.lowered < b; }
        bool operator()(std::u16string_view a, const WatchedPath& b) const { return a < b.lowered; }
    };

    /// What the last look at a file found.
    struct FileRecord {
        std::list<ListenerPtr> listeners; ///< in order of registration
        bool existed = false;
        bool isLink = false; ///< it may change with any entry of the directory
        std::uint64_t size = 0;
        std::int64_t modificationTime = 0;
        std::uint32_t mode = 0;
    };
    using Files = std::map<WatchedPath, FileRecord, FileComparator>;

    class DirectoryInfo {
    public:
        explicit DirectoryInfo(WatchedPath directory);
        /// Closes the handle, if there is one.
        virtual ~DirectoryInfo();
        DirectoryInfo(const DirectoryInfo&) = delete;
        DirectoryInfo& operator=(const DirectoryInfo&) = delete;

        Files::iterator find(std::u16string_view name);

        const WatchedPath path;
        Files files;
        std::size_t links = 0; ///< how many of the files are
        std::unique_ptr<platform::DirectoryChange> handle;
    };
    using Directories = std::map<norq_std::WString, std::unique_ptr<DirectoryInfo>>;

    using Operation = void (norq_std::IFileListener::*)(const norq_std::File&);
    struct Notification;

    class State {
    public:
        State();
        ~State();

        void addListener(const ListenerPtr& listener, const norq_std::File& file);
        void removeListener(const ListenerPtr& listener, const norq_std::File& file);
        void removeListener(const ListenerPtr& listener);
        void run();
        void shutDown();

    private:
        bool waitForDirectories();
        DirectoryInfo& directoryOf(const WatchedPath& file);
        void cleanDirectories();
        void updateAndNotifyDirectory(platform::DirectoryChange& handle);
        static void look(DirectoryInfo& directory, Files::value_type& entry, Notification& noted);
        static bool readStatus(DirectoryInfo& directory, Files::value_type& entry, platform::FileStatus& status);

        norq_std::Lock lock;                                         // guards the directories and what is in them
        const std::unique_ptr<platform::DirectoryChangeGroup> group; // goes after the handles
        Directories directories;
        bool listenersWereRemoved = false; // since the records were last cleaned
        const std::unique_ptr<platform::Event> shutdownEvent;
        const std::unique_ptr<platform::Event> updateEvent;
    };

    const std::shared_ptr<State> state;
};

} // namespace norq_std_internal

#pragma once

#include "base/Export.h"
#include "base/SWString.h"
#include "concurrency/Lock.h"
#include "file/CWatchdogEvent.h"
#include "file/CWatchdogFile.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace norq_std {
class Thread;
}

namespace norq_std_internal::platform {
class DirectoryChange;
class DirectoryChangeGroup;
class Event;
class WaitObject;
} // namespace norq_std_internal::platform

namespace NorqStd {

/// Watches one directory for a list of file names, and queues what it finds for somebody to fetch.
///
/// The older engine under `norq_std::FileMonitor`; new code uses that, or `norq_std::FileWatcher`. It compares each
/// file with its record 50 milliseconds after the directory changed, so that a burst of changes is one look. A change
/// of directory holds from the next start. Nothing is thrown: operations answer with a `Result`.
///
/// Any thread may call any operation; starting, stopping and `SetFilter` belong to one thread at a time. The thread is
/// made by the first start and ends with the object, whose destructor waits for it.
class NORQSTD_EXPORT CFileWatchdog {
public:
    enum Flag : std::uint32_t {
        FileName = 0x1,
        Attributes = 0x4,
        Size = 0x8,
        LastWrite = 0x10,
        ArchiveChanged = 0x10000,
        CompressedChanged = 0x20000,
        ReadOnlyChanged = 0x40000,
        HiddenChanged = 0x100000,
        FileCreated = 0x400000,
        FileDeleted = 0x1000000,
    };

    enum Result : int {
        Success = 0,
        NoFiles = -1,
        NoDirectory = -2,
        NoFilter = -3,
        ThreadFailed = -4, ///< or did not answer: the object cannot start again
        EmptyName = -5,
        BadDirectory = -6,
        NoEvent = -7,
    };

    CFileWatchdog();
    virtual ~CFileWatchdog();
    CFileWatchdog(const CFileWatchdog&) = delete;
    CFileWatchdog& operator=(const CFileWatchdog&) = delete;

    int SetDirectory(const SWString& newDirectory);
    int GetDirectory(SWString& out) const;
    /// A name that is in the list already is accepted, and nothing changes.
    int AddFileToList(const SWString& name);
    int RemoveFileFromList(const SWString& name);
    int GetFileList(std::vector<CWatchdogFile>& out) const;

    /// Flags for what is reported. Those that the platform must report for them are added. A watchdog that runs is
    /// stopped and started again.
    int SetFilter(std::uint32_t flags);
    std::uint32_t GetFilter() const;

    /// Of several reasons not to start, the directory comes before the files, and the filter last.
    int StartWatching();
    int StopWatching();

    /// Takes the oldest event; without one, `out` stays as it is.
    int GetFileEvent(CWatchdogEvent& out);
    std::uint32_t GetEventCount() const;
    void ClearEventList();
    /// Waits until there is an event; true if there is. A negative time-out waits without limit.
    bool WaitForEvent(std::int32_t timeoutMs);
    /// Signalled while the event list is not empty, for a wait that is for other things too.
    norq_std_internal::platform::WaitObject& GetEventAvailableEvent();

    /// What does not fit is lost, and sets the flag.
    void SetMaxListSize(std::uint32_t size);
    std::uint32_t GetMaxListSize() const;
    bool GetThrownAwayFlag() const;
    void ResetThrownAwayFlag();

    bool GetWatchingFlag() const;
    /// Whether the system had room for the object's events. One without them never starts.
    bool GetInitFlag() const;

private:
    class Body;
    using Event = norq_std_internal::platform::Event;

    int SetupChangeNotification();
    int StopChangeNotification();
    int Abandon();
    void MonitorThread();
    bool Idle();
    bool Watch();
    void ProcessFileChangeEvent();
    void Compare(const CWatchdogFile& recorded, const CWatchdogFile& fresh, std::uint32_t enabled);
    void AddEventToList(const CWatchdogFile& file, std::uint32_t type);
    void UpdateRecord(const CWatchdogFile& fresh);
    void SetWatchingFlag(bool watching);
    bool IsShutdown() const;

    mutable norq_std::Lock lock; // guards the fields up to the events
    std::deque<CWatchdogEvent> eventList;
    std::uint32_t maxListSize = 1000;
    std::vector<CWatchdogFile> fileList;
    SWString directory;
    std::uint32_t filter = 0;
    bool thrownAway = false;
    bool isWatching = false;
    bool isShutdown = false;

    const std::unique_ptr<Event> eventAvailable;
    const std::unique_ptr<Event> handshake;
    const std::unique_ptr<Event> start;
    const std::unique_ptr<Event> stop;
    const std::unique_ptr<Event> shutdown;

    const std::unique_ptr<norq_std_internal::platform::DirectoryChangeGroup> group;
    std::unique_ptr<norq_std_internal::platform::DirectoryChange> handle; // of the thread
    std::unique_ptr<norq_std::Thread> thread;
};

} // namespace NorqStd

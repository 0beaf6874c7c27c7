#include "file/CFileWatchdog.h"

#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "platform/CancellationShield.h"
#include "platform/DirectoryChange.h"
#include "platform/FileSystem.h"
#include "thread/Thread.h"

#include <algorithm>
#include <array>
#include <utility>

#include <cxxabi.h>

namespace NorqStd {

using norq_std::AutoLock;
using norq_std::Lock;
namespace platform = norq_std_internal::platform;

namespace {

constexpr std::size_t PathLimit = 260;
constexpr std::int32_t StartWaitMs = 5000;
constexpr std::int32_t StopWaitMs = 150;
constexpr std::int32_t SettleMs = 50;

constexpr std::uint32_t AttributeFlags = CFileWatchdog::ArchiveChanged | CFileWatchdog::CompressedChanged |
                                         CFileWatchdog::ReadOnlyChanged | CFileWatchdog::HiddenChanged;
constexpr std::uint32_t NameFlags = CFileWatchdog::FileCreated | CFileWatchdog::FileDeleted;
constexpr std::uint32_t PlatformFlags = platform::FileNameChanges | platform::DirectoryNameChanges |
                                        platform::AttributeChanges | platform::SizeChanges |
                                        platform::LastWriteChanges | platform::SecurityChanges;

std::unique_ptr<platform::Event> manualEvent() {
    return std::make_unique<platform::Event>(platform::Event::Reset::Manual);
}

bool waitFor(platform::WaitObject& object, std::int32_t timeoutMs) {
    const std::array objects{&object};
    return platform::waitForAny(objects, timeoutMs) == 0;
}

} // namespace

/// What the thread runs; the object waits for it before it goes.
class CFileWatchdog::Body : public norq_std::Runnable {
public:
    explicit Body(CFileWatchdog& watchdog)
        : owner(watchdog) {}
    void run() override { owner.MonitorThread(); }

private:
    CFileWatchdog& owner;
};

CFileWatchdog::CFileWatchdog()
    : eventAvailable(manualEvent())
    , handshake(manualEvent())
    , start(manualEvent())
    , stop(manualEvent())
    , shutdown(manualEvent())
    , group(std::make_unique<platform::DirectoryChangeGroup>()) {}

CFileWatchdog::~CFileWatchdog() {
    if (thread == nullptr)
        return;
    Abandon();
    const platform::CancellationShield shield;
    thread->join(-1); // without end: the thread works on this object
}

// ---- settings

int CFileWatchdog::SetDirectory(const SWString& newDirectory) {
    platform::FileStatus status;
    if (newDirectory.empty() || newDirectory.size() >= PathLimit || !platform::fileStatus(newDirectory, status) ||
        !status.isDirectory())
        return BadDirectory;
    const AutoLock<Lock> guard(lock);
    directory = newDirectory;
    return Success;
}

int CFileWatchdog::GetDirectory(SWString& out) const {
    const AutoLock<Lock> guard(lock);
    out = directory;
    return Success;
}

int CFileWatchdog::AddFileToList(const SWString& name) {
    if (name.empty())
        return EmptyName;
    const AutoLock<Lock> guard(lock);
    if (directory.empty())
        return NoDirectory;
    if (std::none_of(fileList.begin(), fileList.end(), [&](const CWatchdogFile& file) { return file.name == name; }))
        fileList.emplace_back(directory, name);
    return Success;
}

int CFileWatchdog::RemoveFileFromList(const SWString& name) {
    if (name.empty())
        return EmptyName;
    const AutoLock<Lock> guard(lock);
    const auto found =
        std::find_if(fileList.begin(), fileList.end(), [&](const CWatchdogFile& file) { return file.name == name; });
    if (found != fileList.end())
        fileList.erase(found);
    return Success;
}

int CFileWatchdog::GetFileList(std::vector<CWatchdogFile>& out) const {
    const AutoLock<Lock> guard(lock);
    out = fileList;
    return Success;
}

int CFileWatchdog::SetFilter(std::uint32_t flags) {
    NORQ_LOG_FUNCTION_CALL(u"NorqStd::CFileWatchdog::SetFilter");
    if ((flags & AttributeFlags) != 0)
        flags |= Attributes;
    if ((flags & NameFlags) != 0)
        flags |= FileName;
    if (flags == GetFilter())
        return Success;
    const bool watching = GetWatchingFlag();
    if (watching)
        if (const int result = StopWatching(); result != Success)
            return result;
    {
        const AutoLock<Lock> guard(lock);
        filter = flags;
    }
    return watching ? StartWatching() : static_cast<int>(Success);
}

std::uint32_t CFileWatchdog::GetFilter() const {
    const AutoLock<Lock> guard(lock);
    return filter;
}

// ---- events

int CFileWatchdog::GetFileEvent(CWatchdogEvent& out) {
    const AutoLock<Lock> guard(lock);
    if (eventList.empty())
        return NoEvent;
    out = std::move(eventList.front());
    eventList.pop_front();
    if (eventList.empty())
        eventAvailable->reset();
    return Success;
}

std::uint32_t CFileWatchdog::GetEventCount() const {
    const AutoLock<Lock> guard(lock);
    return static_cast<std::uint32_t>(eventList.size());
}

void CFileWatchdog::ClearEventList() {
    const AutoLock<Lock> guard(lock);
    eventList.clear();
    eventAvailable->reset();
}

bool CFileWatchdog::WaitForEvent(std::int32_t timeoutMs) { return waitFor(*eventAvailable, timeoutMs); }

platform::WaitObject& CFileWatchdog::GetEventAvailableEvent() { return *eventAvailable; }

void CFileWatchdog::SetMaxListSize(std::uint32_t size) {
    const AutoLock<Lock> guard(lock);
    if (size == 0)
        eventAvailable->reset();
    if (size < eventList.size()) {
        eventList.resize(size);
        thrownAway = true;
    }
    maxListSize = size;
}

std::uint32_t CFileWatchdog::GetMaxListSize() const {
    const AutoLock<Lock> guard(lock);
    return maxListSize;
}

bool CFileWatchdog::GetThrownAwayFlag() const {
    const AutoLock<Lock> guard(lock);
    return thrownAway;
}

void CFileWatchdog::ResetThrownAwayFlag() {
    const AutoLock<Lock> guard(lock);
    thrownAway = false;
}

bool CFileWatchdog::GetWatchingFlag() const {
    const AutoLock<Lock> guard(lock);
    return isWatching;
}

void CFileWatchdog::SetWatchingFlag(bool watching) {
    const AutoLock<Lock> guard(lock);
    isWatching = watching;
}

bool CFileWatchdog::IsShutdown() const {
    const AutoLock<Lock> guard(lock);
    return isShutdown;
}

bool CFileWatchdog::GetInitFlag() const {
    return eventAvailable->valid() && handshake->valid() && start->valid() && stop->valid() && shutdown->valid();
}

// ---- start and stop

int CFileWatchdog::StartWatching() {
    NORQ_LOG_FUNCTION_CALL(u"NorqStd::CFileWatchdog::StartWatching");
    {
        const AutoLock<Lock> guard(lock);
        if (isWatching)
            return Success;
        if (directory.empty())
            return NoDirectory;
        if (fileList.empty())
            return NoFiles;
        if (filter == 0)
            return NoFilter;
        if (isShutdown)
            return ThreadFailed;
    }
    return GetInitFlag() ? SetupChangeNotification() : static_cast<int>(ThreadFailed);
}

int CFileWatchdog::StopWatching() {
    NORQ_LOG_FUNCTION_CALL(u"NorqStd::CFileWatchdog::StopWatching");
    return GetWatchingFlag() ? StopChangeNotification() : static_cast<int>(Success);
}

int CFileWatchdog::SetupChangeNotification() {
    handshake->reset();
    if (thread == nullptr) {
        try {
            auto made = std::make_unique<norq_std::Thread>(std::make_shared<Body>(*this), u"CFileWatchdog");
            made->start();
            thread = std::move(made);
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (...) {
            return ThreadFailed;
        }
    } else if (thread->getState() == norq_std::THREAD_ENDED) {
        return Abandon();
    }
    stop->reset();
    start->set();
    return waitFor(*handshake, StartWaitMs) && GetWatchingFlag() ? static_cast<int>(Success) : Abandon();
}

int CFileWatchdog::StopChangeNotification() {
    handshake->reset();
    start->reset(); // before the thread can come back to look at it
    stop->set();
    return waitFor(*handshake, StopWaitMs) && !GetWatchingFlag() ? static_cast<int>(Success) : Abandon();
}

int CFileWatchdog::Abandon() {
    {
        const AutoLock<Lock> guard(lock);
        isShutdown = true;
    }
    shutdown->set();
    return ThreadFailed;
}

// ---- the thread

void CFileWatchdog::MonitorThread() {
    while (!IsShutdown() && (GetWatchingFlag() ? Watch() : Idle())) {
    }
    SetWatchingFlag(false);
    handle.reset();
}

/// Waits for a start; false at the end of the thread. The caller of the start is answered once the handle is there.
bool CFileWatchdog::Idle() {
    handle.reset();
    const std::array<platform::WaitObject*, 2> objects{start.get(), shutdown.get()};
    if (platform::waitForAny(objects, -1) != 0)
        return false;
    SWString path;
    GetDirectory(path);
    std::u16string advice;
    handle = group->open(path, GetFilter() & PlatformFlags, advice);
    if (handle == nullptr)
        NORQ_LOG(norq_std::DEBUG, u"NorqStd::CFileWatchdog::MonitorThread", u"Cannot watch directory <%ls>. %ls",
                 path.c_str(), advice.c_str());
    SetWatchingFlag(handle != nullptr);
    handshake->set();
    return handle != nullptr;
}

/// Waits for one change, or for the end of the watch; false at the end of the thread.
bool CFileWatchdog::Watch() {
    const std::array<platform::WaitObject*, 3> objects{handle.get(), stop.get(), shutdown.get()};
    const int index = platform::waitForAny(objects, -1);
    if (index == 0) {
        ProcessFileChangeEvent();
        return true;
    }
    SetWatchingFlag(false);
    handshake->set();
    return index == 1;
}

void CFileWatchdog::ProcessFileChangeEvent() {
    // A stop that comes while things settle is not kept waiting.
    const std::array<platform::WaitObject*, 2> ends{stop.get(), shutdown.get()};
    platform::waitForAny(ends, SettleMs);
    handle->drain();
    std::vector<CWatchdogFile> files;
    GetFileList(files);
    if (files.empty())
        return;
    const std::uint32_t enabled = GetFilter();
    SWString path;
    GetDirectory(path);
    for (const CWatchdogFile& file : files)
        Compare(file, CWatchdogFile(path, file.name), enabled);
}

void CFileWatchdog::Compare(const CWatchdogFile& recorded, const CWatchdogFile& fresh, std::uint32_t enabled) {
    if (!recorded.exists && !fresh.exists)
        return;
    if (recorded.exists != fresh.exists) {
        const std::uint32_t type = fresh.exists ? FileCreated : FileDeleted;
        if ((enabled & type) != 0)
            AddEventToList(fresh, type);
        UpdateRecord(fresh);
        return;
    }
    const std::pair<std::uint32_t, bool> differences[] = {
        {ArchiveChanged, recorded.isArchive != fresh.isArchive},
        {CompressedChanged, recorded.isCompressed != fresh.isCompressed},
        {ReadOnlyChanged, recorded.isReadOnly != fresh.isReadOnly},
        {HiddenChanged, recorded.isHidden != fresh.isHidden},
        {Size, recorded.size != fresh.size},
        {LastWrite, recorded.lastWriteTime != fresh.lastWriteTime},
    };
    bool any = false;
    for (const auto& [type, differs] : differences) {
        if ((enabled & type) == 0 || !differs)
            continue;
        AddEventToList(fresh, type);
        any = true;
    }
    if (any)
        UpdateRecord(fresh);
}

void CFileWatchdog::AddEventToList(const CWatchdogFile& file, std::uint32_t type) {
    CWatchdogEvent event(file.name, type);
    const AutoLock<Lock> guard(lock);
    if (eventList.size() < maxListSize)
        eventList.push_back(std::move(event));
    else
        thrownAway = true;
    if (eventList.size() == 1)
        eventAvailable->set();
}

void CFileWatchdog::UpdateRecord(const CWatchdogFile& fresh) {
    const AutoLock<Lock> guard(lock);
    const auto record = std::find_if(fileList.begin(), fileList.end(),
                                     [&](const CWatchdogFile& file) { return file.name == fresh.name; });
    if (record != fileList.end())
        record->update(fresh);
}

} // namespace NorqStd

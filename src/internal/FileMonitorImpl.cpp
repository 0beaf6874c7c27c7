#include "internal/FileMonitorImpl.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "file/FileEventListener.h"
#include "platform/Event.h"

#include <algorithm>
#include <array>

#include <cxxabi.h>

namespace norq_std_internal {

using namespace norq_std;
using NorqStd::CFileWatchdog;

namespace {

constexpr std::int32_t StopWaitMs = 150;
constexpr std::uint32_t AttributeTypes = CFileWatchdog::ArchiveChanged | CFileWatchdog::CompressedChanged |
                                         CFileWatchdog::ReadOnlyChanged | CFileWatchdog::HiddenChanged;
constexpr std::uint32_t EveryType = AttributeTypes | CFileWatchdog::Size | CFileWatchdog::LastWrite |
                                    CFileWatchdog::FileCreated | CFileWatchdog::FileDeleted;
static_assert(EveryType == 0x1570018);

} // namespace

// ---- listeners

void FileEventListeners::add(const Listener& listener) {
    const AutoLock<Lock> guard(lock);
    if (listener != nullptr && std::find(listeners.begin(), listeners.end(), listener) == listeners.end())
        listeners.push_back(listener);
}

void FileEventListeners::remove(const Listener& listener) {
    const AutoLock<Lock> guard(lock);
    listeners.remove(listener);
}

void FileEventListeners::notify(Operation operation, const WString& directory, const WString& fileName) {
    std::list<Listener> told;
    {
        const AutoLock<Lock> guard(lock);
        told = listeners;
    }
    for (const Listener& listener : told) {
        try {
            (listener.get()->*operation)(directory, fileName);
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (...) {
            NORQ_LOG(DEBUG, u"norq_std::FileMonitor::notify",
                     u"Caught exception notifying listener(%p), removing it from the list.",
                     static_cast<const void*>(listener.get()));
            remove(listener);
        }
    }
}

// ---- the thread

FileMonitorImpl::State::State(std::shared_ptr<FileEventListeners> monitorListeners)
    : listeners(std::move(monitorListeners))
    , stopEvent(std::make_unique<platform::Event>(platform::Event::Reset::Auto)) {
    if (!stopEvent->valid() || !watchdog.GetInitFlag())
        throw NorqUnknownException(u"Could not create Stop Event", ErrorUtils::getLastError());
    watchdog.SetFilter(EveryType);
}

FileMonitorImpl::State::~State() = default;

void FileMonitorImpl::State::run() {
    const std::array<platform::WaitObject*, 2> objects{&watchdog.GetEventAvailableEvent(), stopEvent.get()};
    while (monitoring) {
        if (platform::waitForAny(objects, -1) != 0) {
            monitoring = false;
            return;
        }
        NorqStd::SWString directory;
        watchdog.GetDirectory(directory);
        for (NorqStd::CWatchdogEvent event; watchdog.GetFileEvent(event) == CFileWatchdog::Success;)
            tell(event, directory);
    }
}

void FileMonitorImpl::State::tell(const NorqStd::CWatchdogEvent& event, const WString& directory) const {
    const std::pair<std::uint32_t, FileEventListeners::Operation> calls[] = {
        {AttributeTypes, &FileEventListener::fileAttributeChanged},
        {CFileWatchdog::LastWrite, &FileEventListener::fileLastWriteTimeChanged},
        {CFileWatchdog::Size, &FileEventListener::fileSizeChanged},
        {CFileWatchdog::FileCreated, &FileEventListener::fileCreated},
        {CFileWatchdog::FileDeleted, &FileEventListener::fileDeleted},
    };
    for (const auto& [types, operation] : calls) {
        if ((event.type & types) == 0)
            continue;
        listeners->notify(operation, directory, event.name);
        return;
    }
}

FileMonitorImpl::FileMonitorImpl(std::shared_ptr<FileEventListeners> monitorListeners)
    : Thread(u"FileMonitorImpl")
    , state(std::make_shared<State>(std::move(monitorListeners))) {}

FileMonitorImpl::~FileMonitorImpl() {
    setJoinOnDestruct(false);
    stopMonitoring();
}

CFileWatchdog& FileMonitorImpl::watchdog() { return state->watchdog; }

void FileMonitorImpl::startMonitoring() {
    if (state->monitoring)
        return;
    if (const int result = state->watchdog.StartWatching(); result != CFileWatchdog::Success)
        NORQ_LOG(DEBUG, u"norq_std::FileMonitor::startMonitoring", u"Nothing is followed: the watchdog gave %d.",
                 result);
    state->stopEvent->reset(); // of a stop that came from a listener
    state->monitoring = true;
    try {
        start();
    } catch (...) {
        state->monitoring = false;
        state->stopEvent->set(); // for the thread of before, which may still be with a listener
        state->watchdog.StopWatching();
        throw;
    }
}

void FileMonitorImpl::stopMonitoring() {
    if (!state->monitoring)
        return;
    state->stopEvent->set();
    if (getId() != getCurrentThreadId()) // a listener may stop its own monitor
        join(StopWaitMs);
    state->watchdog.StopWatching();
    state->monitoring = false;
}

void FileMonitorImpl::run() {
    const std::shared_ptr<State> own = state;
    try {
        own->run();
    } catch (...) {
        own->monitoring = false;
        throw;
    }
}

} // namespace norq_std_internal

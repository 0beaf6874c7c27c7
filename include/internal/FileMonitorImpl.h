#pragma once

#include "concurrency/Lock.h"
#include "file/CFileWatchdog.h"
#include "thread/Thread.h"

#include <atomic>
#include <list>
#include <memory>

namespace norq_std {
class FileEventListener;
}

namespace norq_std_internal {

namespace platform {
class Event;
}

/// The listeners of a `FileMonitor`. The monitor's thread co-owns them, since it may be in one when the monitor goes.
class FileEventListeners {
public:
    using Listener = std::shared_ptr<norq_std::FileEventListener>;
    using Operation = void (norq_std::FileEventListener::*)(const norq_std::WString&, const norq_std::WString&);

    void add(const Listener& listener);
    void remove(const Listener& listener);

    /// Calls all, without the lock; one that throws is removed.
    void notify(Operation operation, const norq_std::WString& directory, const norq_std::WString& fileName);

private:
    norq_std::Lock lock; // guards the list
    std::list<Listener> listeners;
};

/// The thread of a `FileMonitor`, which tells its listeners what the watchdog found.
class FileMonitorImpl : public norq_std::Thread {
public:
    explicit FileMonitorImpl(std::shared_ptr<FileEventListeners> monitorListeners);
    ~FileMonitorImpl() override;

    NorqStd::CFileWatchdog& watchdog();

    void startMonitoring();
    void stopMonitoring();
    void run() override;

private:
    /// What the body co-owns.
    struct State {
        explicit State(std::shared_ptr<FileEventListeners> monitorListeners);
        ~State();

        void run();
        void tell(const NorqStd::CWatchdogEvent& event, const norq_std::WString& directory) const;

        const std::shared_ptr<FileEventListeners> listeners;
        std::atomic<bool> monitoring{false};
        NorqStd::CFileWatchdog watchdog;
        const std::unique_ptr<platform::Event> stopEvent;
    };

    const std::shared_ptr<State> state;
};

} // namespace norq_std_internal

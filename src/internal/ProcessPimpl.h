#pragma once

#include "base/WString.h"

#include <cstdint>
#include <memory>
#include <set>

namespace norq_std {
class Event;
class File;
} // namespace norq_std

namespace norq_std_internal {

namespace platform {
class ProcessHandle;
}

class ProcessMonitorThread;

/// The record of a `Process`: its handle, the event of its end, and the thread that watches for that.
class ProcessPimpl {
public:
    /// Starts a program, and its watch.
    ProcessPimpl(const norq_std::File& executable, const norq_std::WString& arguments,
                 const norq_std::File& workingDirectory);
    /// Attaches, and does not watch.
    explicit ProcessPimpl(std::shared_ptr<platform::ProcessHandle> attached);
    /// Ends the watch and leaves the process alone.
    ~ProcessPimpl();
    ProcessPimpl(const ProcessPimpl&) = delete;
    ProcessPimpl& operator=(const ProcessPimpl&) = delete;

    /// One that is none of the given ids.
    static std::shared_ptr<platform::ProcessHandle> findProcess(const norq_std::WString& name, bool withTerminateRight,
                                                                const std::set<std::uint32_t>& except = {});
    static std::shared_ptr<platform::ProcessHandle> findProcess(std::uint32_t id);
    static std::shared_ptr<platform::ProcessHandle> currentProcess();
    static void killProcess(platform::ProcessHandle& process);
    static void signalStop(const norq_std::WString& eventName);

    std::uint32_t getId() const;
    norq_std::WString getExecutable() const;
    void stop(const norq_std::WString& eventName, std::int32_t maxWaitTime);
    bool isRunning() const;
    int getReturnCode() const;
    std::uint32_t getPriorityClass() const;
    void setPriorityClass(std::uint32_t number);
    const std::shared_ptr<norq_std::Event>& getShutdownEvent() const { return shutdownEvent; }

private:
    const std::shared_ptr<norq_std::Event> shutdownEvent;
    const std::shared_ptr<platform::ProcessHandle> handle;
    const std::shared_ptr<ProcessMonitorThread> monitorThread;
};

} // namespace norq_std_internal

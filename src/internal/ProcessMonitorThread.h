#pragma once

#include "thread/Thread.h"

#include <memory>

namespace norq_std {
class Event;
}

namespace norq_std_internal {

namespace platform {
class Event;
class ProcessHandle;
} // namespace platform

/// Waits for the end of a process, or of the watch, and then signals an event.
class ProcessMonitorThread : public norq_std::Thread {
public:
    ProcessMonitorThread(std::shared_ptr<platform::ProcessHandle> watched, std::shared_ptr<norq_std::Event> shutdown);
    /// Joins; whoever destroys it has ended the watch.
    ~ProcessMonitorThread() override;

    void endWatch();

    void run() override;

private:
    // The body has its own share, since it outlives the join of a destructor that waits for it in vain.
    const std::shared_ptr<platform::ProcessHandle> process;
    const std::shared_ptr<platform::Event> endEvent;
    const std::shared_ptr<norq_std::Event> shutdownEvent;
};

} // namespace norq_std_internal

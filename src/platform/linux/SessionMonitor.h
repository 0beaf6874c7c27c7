#pragma once

#include "windows/ServiceStatus.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include <poll.h>

namespace norq_std_internal::platform {

struct SessionChange {
    norq_std::SessionEvent event;
    std::uint32_t session;
};

/// Tells what happens to the sessions of users, from when it is made on. Of one thread.
class SessionMonitor {
public:
    /// Null where there is no login manager.
    static std::unique_ptr<SessionMonitor> open();
    ~SessionMonitor();
    SessionMonitor(const SessionMonitor&) = delete;
    SessionMonitor& operator=(const SessionMonitor&) = delete;

    void appendDescriptors(std::vector<pollfd>& descriptors) const;
    /// How long a wait on them may take; none for no limit.
    std::optional<std::chrono::milliseconds> waitLimit() const;
    /// What has happened since the last call.
    std::vector<SessionChange> changes();

private:
    struct State;

    explicit SessionMonitor(std::unique_ptr<State> opened);

    std::unique_ptr<State> state;
};

} // namespace norq_std_internal::platform

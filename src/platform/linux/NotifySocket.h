#pragma once

#include "platform/linux/Descriptor.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <sys/un.h>

namespace norq_std_internal::platform {

/// The socket on which systemd listens to a service (sd_notify(3)), as the environment named it when this was made. A
/// message that nobody takes is lost.
class NotifySocket {
public:
    NotifySocket();

    /// One assignment a line.
    void send(std::string_view assignments) const noexcept;

private:
    sockaddr_un address{};
    socklen_t addressSize = 0;
    Descriptor socket;
};

/// The time after which systemd takes a silent service for dead, where it watches this process.
std::optional<std::chrono::microseconds> watchdogTime();

/// Whether a manager of services started this process.
bool startedAsService();

} // namespace norq_std_internal::platform

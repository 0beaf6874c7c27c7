#include "platform/linux/NotifySocket.h"

#include "platform/NarrowText.h"
#include "platform/SystemInfo.h"

#include <charconv>
#include <cstddef>
#include <cstring>

#include <sys/socket.h>
#include <unistd.h>

namespace norq_std_internal::platform {

namespace {

constexpr timeval SendLimit{1, 0}; // a manager that takes nothing must not hold up the service

std::string variable(std::u16string_view name) {
    std::u16string value;
    return environmentVariable(name, value) ? toUtf8(value) : std::string();
}

template <class Number>
std::optional<Number> numberIn(std::u16string_view name) {
    const std::string text = variable(name);
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

} // namespace

NotifySocket::NotifySocket() {
    const std::string name = variable(u"NOTIFY_SOCKET");
    const bool abstract = name.starts_with('@');
    if (name.size() < 2 || name.size() >= sizeof(address.sun_path) || (!abstract && !name.starts_with('/')))
        return;
    address.sun_family = AF_UNIX;
    std::memcpy(&address.sun_path, name.data(), name.size());
    if (abstract)
        address.sun_path[0] = '\0';
    addressSize = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size() + (abstract ? 0 : 1));
    socket = Descriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (socket.valid())
        ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &SendLimit, sizeof SendLimit);
}

void NotifySocket::send(std::string_view assignments) const noexcept {
    if (socket.valid())
        static_cast<void>(::sendto(socket.get(), assignments.data(), assignments.size(), MSG_NOSIGNAL,
                                   reinterpret_cast<const sockaddr*>(&address), addressSize));
}

std::optional<std::chrono::microseconds> watchdogTime() {
    const auto time = numberIn<std::int64_t>(u"WATCHDOG_USEC");
    if (!time || *time <= 0)
        return std::nullopt;
    const bool anyProcess = variable(u"WATCHDOG_PID").empty();
    if (!anyProcess && numberIn<pid_t>(u"WATCHDOG_PID") != ::getpid())
        return std::nullopt;
    return std::chrono::microseconds(*time);
}

bool startedAsService() { return !variable(u"NOTIFY_SOCKET").empty() || !variable(u"INVOCATION_ID").empty(); }

} // namespace norq_std_internal::platform

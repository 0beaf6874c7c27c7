#include "platform/ConsoleControl.h"

#include "platform/Error.h"
#include "platform/linux/ConsoleEvents.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/SignalActions.h"

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

// When a terminal is closed, the kernel hangs up on the leader of its session, in general a shell, and on the processes
// in the foreground. The shell passes that on to its jobs by kill, and ends, upon which the kernel may hang up again.
// To the program all that is one event.

namespace norq_std_internal::platform {
namespace {

struct TerminalEvent {
    int signal;
    std::uint32_t code;
};

constexpr TerminalEvent Events[] = {{SIGINT, 0}, {SIGQUIT, 1}, {SIGHUP, 2}};

constinit std::atomic<ConsoleControlHandler> installed{nullptr};
constinit std::atomic<bool> hadTerminal{false};
constinit std::atomic<bool> closed{false};
constinit std::mutex installing;

bool hasTerminal() { return Descriptor(::open("/dev/tty", O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)).valid(); }

void unwatchAll() {
    for (const TerminalEvent& event : Events)
        unwatchTerminalSignal(event.signal);
}

} // namespace

bool installConsoleControlHandler(ConsoleControlHandler handler) {
    const std::lock_guard guard(installing);
    if (installed.exchange(handler) != nullptr)
        return true;
    hadTerminal.store(hasTerminal());
    for (const TerminalEvent& event : Events) {
        if (!watchTerminalSignal(event.signal)) {
            setLastErrorFromNative();
            installed.store(nullptr);
            unwatchAll();
            return false;
        }
    }
    return true;
}

void removeConsoleControlHandler(ConsoleControlHandler handler) {
    const std::lock_guard guard(installing);
    ConsoleControlHandler expected = handler;
    if (installed.compare_exchange_strong(expected, nullptr))
        unwatchAll();
}

bool isFromSessionLeader(const siginfo_t& info) noexcept {
    return hadTerminal.load() && info.si_code == SI_USER && info.si_pid == ::getsid(0);
}

bool tellConsoleEvent(int signal, SignalKind kind) {
    if (kind == SignalKind::PassedOn && hasTerminal())
        return false;
    const ConsoleControlHandler handler = installed.load();
    if (handler == nullptr)
        return false;
    if (signal == SIGHUP && closed.exchange(true))
        return true;
    for (const TerminalEvent& event : Events)
        if (event.signal == signal)
            return handler(event.code) != 0;
    return false;
}

} // namespace norq_std_internal::platform

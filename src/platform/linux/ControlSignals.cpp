// The handlers do no more than put the code into a pipe, so that it does not matter which thread a signal interrupts:
// threads that were there before the dispatcher need not have blocked anything. The pipe stays for the life of the
// process: a handler that was interrupted itself may write when the signals have been given back.

#include "platform/linux/ControlSignals.h"

#include "platform/linux/Descriptor.h"
#include "windows/ServiceStatus.h"

#include <atomic>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace norq_std_internal::platform {

namespace {

constexpr std::uint32_t NoControl = 0;
constexpr std::uint32_t LargestControl = 255;

struct Installed {
    int signal = 0;
    struct sigaction before {};
};

struct Pipe {
    Descriptor reading;
    Descriptor writing;
};

Pipe& controlPipe() {
    static Pipe& pipe = *new Pipe;
    return pipe;
}

constinit std::atomic<int> target{-1};
constinit std::atomic<pid_t> owner{0};
constinit std::array<Installed, ControlSignals::Count> installed{}; ///< read by a handler in a forked copy alone

std::array<int, ControlSignals::Count> controlSignals() {
    return {SIGTERM,      SIGHUP,       SIGRTMIN + 1, // with the code as its value
            SIGRTMIN + 2, SIGRTMIN + 3, SIGRTMIN + 4, SIGRTMIN + 5};
}

std::uint32_t controlOf(int signal, const siginfo_t& info) {
    if (signal == SIGTERM)
        return norq_std::SERVICE_CONTROL_STOP;
    if (signal == SIGHUP)
        return norq_std::SERVICE_CONTROL_PARAMCHANGE;
    if (signal != SIGRTMIN + 1)
        return static_cast<std::uint32_t>(signal - SIGRTMIN);
    const auto code = static_cast<std::uint32_t>(info.si_value.sival_int);
    return info.si_code == SI_QUEUE && code <= LargestControl ? code : NoControl;
}

void put(int descriptor, std::uint32_t control) {
    const int error = errno;
    if (descriptor >= 0)
        static_cast<void>(!::write(descriptor, &control, sizeof control)); // whole or, into a full pipe, not at all
    errno = error;
}

/// The signal is blocked here, so it comes again when the handler returns.
void actAsBefore(int signal) {
    const int error = errno;
    for (const Installed& each : installed)
        if (each.signal == signal)
            ::sigaction(signal, &each.before, nullptr);
    ::raise(signal);
    errno = error;
}

void onSignal(int signal, siginfo_t* info, void*) {
    if (owner.load(std::memory_order_relaxed) != ::getpid())
        actAsBefore(signal);
    else if (const std::uint32_t control = controlOf(signal, *info); control != NoControl)
        put(target.load(std::memory_order_relaxed), control);
}

/// A forked copy of the process needs one of its own.
bool preparePipe() {
    Pipe& pipe = controlPipe();
    if (owner == ::getpid())
        return true;
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        return false;
    target = -1;
    pipe.reading = Descriptor(ends[0]);
    pipe.writing = Descriptor(ends[1]);
    owner = ::getpid();
    return true;
}

} // namespace

ControlSignals::ControlSignals() {
    if (!preparePipe())
        return;
    std::deque<std::uint32_t> late;
    take(late);
    target = controlPipe().writing.get();

    struct sigaction action {};
    action.sa_sigaction = &onSignal;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigset_t ours;
    sigemptyset(&ours);
    const auto signals = controlSignals();
    for (std::size_t i = 0; i < Count; ++i) {
        installed[i].signal = signals[i];
        ::sigaction(signals[i], &action, &installed[i].before);
        sigaddset(&ours, signals[i]);
    }
    pthread_sigmask(SIG_UNBLOCK, &ours, &maskBefore);
    held = true;
}

ControlSignals::~ControlSignals() { giveBack(); }

int ControlSignals::descriptor() const { return controlPipe().reading.get(); }

void ControlSignals::giveBack() noexcept {
    if (!std::exchange(held, false))
        return;
    pthread_sigmask(SIG_SETMASK, &maskBefore, nullptr);
    for (const Installed& each : installed)
        ::sigaction(each.signal, &each.before, nullptr);
    target = -1;
}

void ControlSignals::wake() const noexcept { put(controlPipe().writing.get(), NoControl); }

void ControlSignals::take(std::deque<std::uint32_t>& controls) const {
    std::array<std::uint32_t, 64> codes;
    for (;;) {
        const ssize_t bytes = ::read(descriptor(), codes.data(), sizeof codes);
        if (bytes < 0 && errno == EINTR)
            continue;
        if (bytes <= 0)
            return;
        for (std::size_t i = 0; i < static_cast<std::size_t>(bytes) / sizeof codes[0]; ++i)
            if (codes[i] != NoControl)
                controls.push_back(codes[i]);
    }
}

} // namespace norq_std_internal::platform

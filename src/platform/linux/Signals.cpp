#include "platform/Signals.h"

#include "platform/Error.h"
#include "platform/linux/ConsoleEvents.h"
#include "platform/linux/FaultChain.h"
#include "platform/linux/SignalActions.h"
#include "platform/linux/SignalThreads.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <unistd.h>

// The system calls one handler for every signal that has a function, and for those of the terminal. It looks at where
// the signal comes from: what the process sent itself, and a processor fault, is dealt with on the spot; the rest goes
// to the signal threads, since nothing may be asked of code that was interrupted anywhere.

namespace norq_std_internal::platform {
namespace {

static_assert(BreakSignal == SIGQUIT);

void asBefore(int) {} ///< mark of a signal that nobody has set here

struct Entry {
    std::atomic<SignalFunction> action{asBefore}; ///< a function, a mark of the C library, or the mark above
    std::atomic<bool> watched{false};
    std::atomic<bool> terminalIgnored{false}; ///< it was ignored when the watching began
    struct sigaction before {};               ///< while the signal is watched
};

constinit std::array<Entry, NSIG> entries{};
constinit std::mutex settingActions;

Entry& entryOf(int signal) { return entries[static_cast<std::size_t>(signal)]; }

bool isFunction(SignalFunction action) { return action != asBefore && action != SIG_DFL && action != SIG_IGN; }

enum class Origin : unsigned char { Processor, Self, Terminal, Elsewhere };

Origin originOf(int signal, const siginfo_t& info) {
    const bool synchronous = isFaultSignal(signal) || signal == SIGTRAP || signal == SIGSYS;
    if (info.si_code > 0 && synchronous)
        return Origin::Processor;
    if (info.si_code == SI_KERNEL)
        return Origin::Terminal;
    const bool sent = info.si_code == SI_USER || info.si_code == SI_QUEUE || info.si_code == SI_TKILL;
    return sent && info.si_pid == ::getpid() ? Origin::Self : Origin::Elsewhere;
}

void raiseUnblocked(int signal) {
    sigset_t own;
    sigemptyset(&own);
    sigaddset(&own, signal);
    sigset_t blocked;
    pthread_sigmask(SIG_UNBLOCK, &own, &blocked);
    ::raise(signal);
    pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
}

/// Returns where the default action does not end the process, which is so for the first process of a container.
void actByDefault(int signal, Origin origin) {
    struct sigaction byDefault {};
    byDefault.sa_handler = SIG_DFL;
    struct sigaction ours {};
    ::sigaction(signal, &byDefault, &ours);
    if (origin == Origin::Processor) // it happens again when the handler returns
        return;
    raiseUnblocked(signal);
    ::sigaction(signal, &ours, nullptr);
}

void actAsBefore(int signal, siginfo_t* info, void* interrupted) {
    const struct sigaction& before = entryOf(signal).before;
    if ((before.sa_flags & SA_SIGINFO) != 0)
        before.sa_sigaction(signal, info, interrupted);
    else if (before.sa_handler == SIG_DFL)
        actByDefault(signal, originOf(signal, *info));
    else if (before.sa_handler != SIG_IGN)
        before.sa_handler(signal);
}

void actOnTheSpot(int signal, siginfo_t* info, void* interrupted) {
    const Origin origin = originOf(signal, *info);
    SignalFunction action = entryOf(signal).action.load();
    if (action == asBefore) {
        actAsBefore(signal, info, interrupted);
    } else if (action == SIG_DFL || (action == SIG_IGN && origin == Origin::Processor)) {
        actByDefault(signal, origin);
    } else if (action != SIG_IGN) {
        SignalFunction expected = action;
        if (origin == Origin::Processor) // the instruction is carried out again
            entryOf(signal).action.compare_exchange_strong(expected, SIG_DFL);
        action(signal);
    }
}

extern "C" void norqstdOnSignal(int signal, siginfo_t* info, void* interrupted) {
    const int interruptedError = errno;
    const Entry& entry = entryOf(signal);
    const Origin origin = originOf(signal, *info);
    const bool deferrable = (origin == Origin::Terminal || origin == Origin::Elsewhere) && hasSignalThreads();
    if (!deferrable)
        actOnTheSpot(signal, info, interrupted);
    else if (origin == Origin::Terminal && entry.terminalIgnored.load())
        ;
    else if (origin == Origin::Terminal && entry.watched.load())
        deferSignal(signal, SignalKind::Terminal);
    else if (signal == SIGHUP && entry.watched.load() && isFromSessionLeader(*info))
        deferSignal(signal, SignalKind::PassedOn);
    else if (isFunction(entry.action.load()))
        deferSignal(signal, SignalKind::Plain);
    else
        actOnTheSpot(signal, info, interrupted);
    errno = interruptedError;
}

void handleDeferred(int signal, SignalKind kind) {
    if (kind == SignalKind::Plain || !tellConsoleEvent(signal, kind))
        raiseSignal(signal);
}

bool installOurs(int signal, struct sigaction* before) {
    if (isFaultSignal(signal))
        return setActionBehindFaults(signal, norqstdOnSignal);
    struct sigaction ours {};
    ours.sa_sigaction = norqstdOnSignal;
    ours.sa_flags = SA_SIGINFO | SA_RESTART | SA_ONSTACK;
    sigemptyset(&ours.sa_mask);
    return ::sigaction(signal, &ours, before) == 0;
}

bool installMark(int signal, SignalFunction mark) {
    struct sigaction action {};
    action.sa_handler = mark;
    return ::sigaction(signal, &action, nullptr) == 0;
}

bool canBeSet(int signal) {
    const bool possible = signal > 0 && signal < NSIG && signal != SIGKILL && signal != SIGSTOP &&
                          (signal < 32 || signal >= SIGRTMIN); // those between are the C library's own
    if (!possible)
        setLastError(InvalidParameter);
    return possible;
}

bool setAction(int signal, SignalFunction action) {
    if (!canBeSet(signal))
        return false;
    const std::lock_guard guard(settingActions);
    Entry& entry = entryOf(signal);
    if (isFunction(action) && !startSignalThreads(handleDeferred)) {
        setLastErrorFromNative();
        return false;
    }
    const SignalFunction before = entry.action.exchange(action); // first, for a signal that arrives at once
    const bool ours = isFunction(action) || entry.watched.load() || isFaultSignal(signal);
    if (ours ? installOurs(signal, nullptr) : installMark(signal, action))
        return true;
    setLastErrorFromNative();
    entry.action.store(before);
    return false;
}

} // namespace

bool setSignalFunction(int signal, SignalFunction function) { return setAction(signal, function); }

bool ignoreSignal(int signal) { return setAction(signal, SIG_IGN); }

bool setSignalDefault(int signal) { return setAction(signal, SIG_DFL); }

SignalFunction signalFunction(int signal) {
    const SignalFunction action = canBeSet(signal) ? entryOf(signal).action.load() : nullptr;
    return isFunction(action) ? action : nullptr;
}

bool hasDefaultAction(int signal) {
    if (!canBeSet(signal))
        return false;
    const std::lock_guard guard(settingActions);
    const Entry& entry = entryOf(signal);
    struct sigaction current {};
    if (::sigaction(signal, nullptr, &current) != 0)
        return false;
    if ((current.sa_flags & SA_SIGINFO) == 0 || current.sa_sigaction != norqstdOnSignal)
        return (current.sa_flags & SA_SIGINFO) == 0 && current.sa_handler == SIG_DFL;
    const SignalFunction action = entry.action.load();
    const bool defaultBefore = (entry.before.sa_flags & SA_SIGINFO) == 0 && entry.before.sa_handler == SIG_DFL;
    return action == SIG_DFL || (action == asBefore && defaultBefore);
}

bool isSignal(int signal) noexcept { return signal > 0 && signal < NSIG; }

void raiseSignal(int signal) {
    if (!isSignal(signal))
        return;
    const SignalFunction action = entryOf(signal).action.load();
    if (isFunction(action)) {
        action(signal);
        return;
    }
    if (action == SIG_IGN)
        return;
    raiseUnblocked(signal);
}

bool watchTerminalSignal(int signal) {
    const std::lock_guard guard(settingActions);
    Entry& entry = entryOf(signal);
    if (entry.watched.load() || entry.terminalIgnored.load())
        return true;
    if (!startSignalThreads(handleDeferred))
        return false;
    struct sigaction current {};
    if (::sigaction(signal, nullptr, &current) != 0)
        return false;
    const bool untouched = entry.action.load() == asBefore;
    if (untouched && (current.sa_flags & SA_SIGINFO) == 0 && current.sa_handler == SIG_IGN) {
        entry.terminalIgnored.store(true);
        return true;
    }
    if (untouched)
        entry.before = current;
    entry.watched.store(true);
    if (installOurs(signal, nullptr))
        return true;
    entry.watched.store(false);
    return false;
}

void unwatchTerminalSignal(int signal) {
    const std::lock_guard guard(settingActions);
    Entry& entry = entryOf(signal);
    entry.terminalIgnored.store(false);
    if (!entry.watched.exchange(false))
        return;
    const SignalFunction action = entry.action.load();
    if (action == asBefore)
        ::sigaction(signal, &entry.before, nullptr);
    else if (!isFunction(action))
        installMark(signal, action);
}

} // namespace norq_std_internal::platform

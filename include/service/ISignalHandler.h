#pragma once

#include "base/Object.h"

namespace norq_std {

/// The signal of Ctrl-Break, which on this platform is Ctrl-\ and the system's SIGQUIT. Every other number is the one
/// that `<csignal>` names.
inline constexpr int SIGBREAK = 3;

/// Sets what the signals of the process do.
///
/// Signals are numbered as on this platform, by the constants of `<csignal>` and `SIGBREAK`.
///
/// **Where a handler runs.** For a signal that comes from the terminal, from another process or from the system, on a
/// thread of the library's own and in ordinary context: it may lock, allocate, log and stop the program. Calls for one
/// signal follow each other; different signals are handled at the same time. A signal that the process sends itself
/// (`raise`, `kill`, `abort`), and a processor fault, calls the handler on the spot, as the C library would; there it
/// may do what the place of the call allows. A handler stays installed after a call, except for a fault, which finds
/// the default action when it happens again. Signals that wait for the same handler are told once each as far as the
/// system does: equal ones that arrive together may count once.
///
/// A forked child that goes on without `exec` has no such thread: there each handler runs on the spot.
///
/// **Failures.** Each operation throws `NorqIllegalArgumentException` for a number that is no signal or that cannot be
/// handled (SIGKILL, SIGSTOP), and for a null handler or `SIG_IGN`; and `NorqOutOfResourcesException` where the thread
/// cannot be started. Then nothing has changed.
///
/// Operations are meant for the start-up of a program and are not guarded against each other.
class NORQSTD_EXPORT ISignalHandler : public Object {
public:
    ~ISignalHandler() override;
    WString toString() const override;

    virtual void ignoreSignal(int signal) = 0;
    virtual void useDefaultSignalHandler(int signal) = 0;
    virtual void registerSignalHandler(int signal, void (*handler)(int)) = 0;
    virtual void deregisterSignalHandler(int signal, void (*handler)(int)) = 0;
    virtual void deregisterAllSignalHandlers() = 0;
};

} // namespace norq_std

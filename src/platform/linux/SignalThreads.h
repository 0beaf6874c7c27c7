#pragma once

namespace norq_std_internal::platform {

/// How a signal is to be handled that the system's handler does not deal with on the spot.
enum class SignalKind : unsigned char {
    Plain,    ///< do what the signal does
    Terminal, ///< tell the event that it stands for
    PassedOn, ///< a hang-up sent by the leader of the session: perhaps the closing of the terminal
};

using DeferredSignal = void (*)(int signal, SignalKind kind);

/// Starts the thread that hands out signals, once in a process. False with errno set.
bool startSignalThreads(DeferredSignal handler);

/// Whether that thread runs in this process: not in a forked child.
bool hasSignalThreads() noexcept;

/// Has the signal handled by a thread of its own. Signals of one number follow each other. Async-signal-safe.
void deferSignal(int signal, SignalKind kind) noexcept;

} // namespace norq_std_internal::platform

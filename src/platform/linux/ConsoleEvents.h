#pragma once

#include "platform/linux/SignalThreads.h"

#include <csignal>

namespace norq_std_internal::platform {

/// Whether the leader of the session, another process, sent the signal. Async-signal-safe.
bool isFromSessionLeader(const siginfo_t& info) noexcept;

/// Tells the event behind a signal, on the calling thread. False if there is none, or nobody to deal with it.
bool tellConsoleEvent(int signal, SignalKind kind);

} // namespace norq_std_internal::platform

#pragma once

#include <csignal>

namespace norq_std_internal::platform {

using SignalAction = void (*)(int signal, siginfo_t* info, void* interrupted);

/// Whether processor faults arrive as this signal.
bool isFaultSignal(int signal) noexcept;

/// Makes the handler the one for a fault signal, behind the translation of faults where that stands: there it gets what
/// is not translated. False with errno set; ENOTSUP where a virtual machine has the signal, which lives by it.
bool setActionBehindFaults(int signal, SignalAction action);

} // namespace norq_std_internal::platform

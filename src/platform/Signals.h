#pragma once

#include "base/Export.h"

namespace norq_std_internal::platform {

// What the signals of the process do, by the system's numbers. Where a function runs, and what becomes of a processor
// fault, stands in service/ISignalHandler.h.

/// What the terminal sends for Ctrl-Break.
inline constexpr int BreakSignal = 3;

using SignalFunction = void (*)(int signal);

// Each leaves the last error and changes nothing where the number is none that can be handled, or where the thread on
// which functions run cannot be started. The function is neither null nor one of the C library's marks.

NORQSTD_EXPORT bool setSignalFunction(int signal, SignalFunction function);
NORQSTD_EXPORT bool ignoreSignal(int signal);
NORQSTD_EXPORT bool setSignalDefault(int signal);

/// The function that was set; null if there is none.
NORQSTD_EXPORT SignalFunction signalFunction(int signal);

/// Whether the signal does what the system does by default: nobody has set anything else, here or elsewhere.
NORQSTD_EXPORT bool hasDefaultAction(int signal);

/// Whether the system has a signal of this number.
NORQSTD_EXPORT bool isSignal(int signal) noexcept;

/// Does on the calling thread what the signal does: calls its function directly, or really raises it, even if the
/// thread has blocked it.
NORQSTD_EXPORT void raiseSignal(int signal);

} // namespace norq_std_internal::platform

#pragma once

#include "base/Export.h"

#include <cstdint>

namespace norq_std_internal::platform {

/// Told of an event of the process's terminal, by its code, on a thread of its own. Not 0: the event has been dealt
/// with; 0: the signal behind it does what it does.
using ConsoleControlHandler = std::int32_t (*)(std::uint32_t code);

/// One handler serves the process; a later one replaces it. False, with the last error set, where events cannot be had.
NORQSTD_EXPORT bool installConsoleControlHandler(ConsoleControlHandler handler);

/// Nothing if it is not the one installed. An event on its way may still be told.
NORQSTD_EXPORT void removeConsoleControlHandler(ConsoleControlHandler handler);

} // namespace norq_std_internal::platform

#pragma once

#include "base/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace norq_std_internal::platform {

// The title of the terminal that controls the process. A terminal cannot be asked for its title in safety (the answer
// would come in as typed text), so what is read back is what this process has set. Any thread may call these.

/// Not 0 if the terminal was told; else 0, with the last error set: 20 in a process without a terminal. Control
/// characters of the title reach the terminal as blanks, lone surrogates as U+FFFD. A terminal whose output is held
/// (Ctrl-S) is waited for, at most a second.
NORQSTD_EXPORT std::int32_t setConsoleTitle(std::u16string_view title);

/// The title last set, as it was given, cut to fewer than `size` units; never within a pair. Empty before the first,
/// and without a terminal.
NORQSTD_EXPORT std::u16string consoleTitle(std::size_t size);

} // namespace norq_std_internal::platform

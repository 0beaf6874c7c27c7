#pragma once

#include "base/Export.h"

#include <functional>
#include <string_view>

namespace norq_std_internal::platform {

// The debugger channel: where lines go that have no log yet. The environment variable NORQSTD_DEBUG_OUTPUT names it
// once for the life of the process: "stderr", or a file to append to. Unset, text is dropped.

/// Whether text goes anywhere. A caller that has to build its text first asks this.
NORQSTD_EXPORT bool debugOutputOn() noexcept;

/// Writes the text as UTF-8, in one write, so that lines of several threads and processes stay whole. Never throws.
NORQSTD_EXPORT void debugOutput(std::u16string_view text) noexcept;

/// For tests: text goes to the sink in place of the channel. An empty function takes it back. The sink is called from
/// any thread, one call at a time; when this returns, no call of the earlier sink is running or will come.
NORQSTD_EXPORT void setDebugOutputSink(std::function<void(std::u16string_view)> sink);

/// Prints the text as UTF-8 on standard output and flushes it. Never throws.
void consoleOutput(std::u16string_view text) noexcept;

} // namespace norq_std_internal::platform

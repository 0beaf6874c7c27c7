#pragma once

#include "base/Export.h"

namespace NorqStd {

/// The operating system's id of the calling thread.
NORQSTD_EXPORT unsigned int NorqGetThreadID();

/// Sleeps for so many milliseconds, not at all for 0 or less. Always true.
NORQSTD_EXPORT bool NorqSleep_ms(int ms);

} // namespace NorqStd

#pragma once

#include "base/Export.h"
#include "base/StaticLog.h"
#include "base/WString.h"

#include <cstdint>

namespace norq_std {

// The library's own debug channels. A writer does not test the threshold: its caller asks the test beside it first, and
// so pays for no strings when the line is off. The writers take the wide printf dialect of base/WideFormat.h, never
// throw, and may be called from any thread. Where the format is a literal, NORQ_LOG of base/LogMacros.h does the same
// with arguments checked by the compiler.

inline bool __internal_debug_on() { return StaticLog::isThresholdOn(DEBUG); }
inline bool __internal_call_on() { return StaticLog::isThresholdOn(CALL); }
inline bool __internal_trace_on() { return StaticLog::isThresholdOn(TRACE); }
inline bool __internal_dump_on() { return StaticLog::isThresholdOn(DUMP); }

NORQSTD_EXPORT void __internal_debug(const WChar* function, const WChar* file, std::uint32_t line, const WChar* format,
                                     ...);
NORQSTD_EXPORT void __internal_call(const WChar* function, const WChar* file, std::uint32_t line, const WChar* format,
                                    ...);
NORQSTD_EXPORT void __internal_trace(const WChar* function, const WChar* file, std::uint32_t line, const WChar* format,
                                     ...);
NORQSTD_EXPORT void __internal_dump(const WChar* function, const WChar* file, std::uint32_t line, const WChar* format,
                                    ...);

} // namespace norq_std

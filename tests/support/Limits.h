#pragma once

#include <chrono>
#include <cstdint>

namespace norqstd_test {

/// How long a test waits for something that must happen before it fails. A test never takes this long when it passes.
/// The environment variable NORQSTD_TEST_SLOWDOWN multiplies it, for sanitizers and slow machines.
std::chrono::milliseconds longLimit();

/// The same for the library's own time-outs.
inline std::int32_t longLimitMillis() { return static_cast<std::int32_t>(longLimit().count()); }

/// A number of rounds, divided by the slow-down, at least one.
std::size_t rounds(std::size_t count);

} // namespace norqstd_test

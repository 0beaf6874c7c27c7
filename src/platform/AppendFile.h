#pragma once

#include <cstddef>
#include <cstdint>

namespace norq_std_internal::platform {

// A file that grows at its end alone, by its descriptor.

/// How such a file is opened: to read and append, made for its owner alone if it is not there.
extern const int appendFlags;
extern const int ownerOnly;

/// Appends all bytes, or none: what was written before a failure is taken back, unless the file was written to by
/// somebody else as well. False on failure, with the last error.
bool appendWhole(int file, const void* bytes, std::size_t count) noexcept;

bool openFileLength(int file, std::uint64_t& length) noexcept;

} // namespace norq_std_internal::platform

#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace norq_std_internal::platform {

/// The version resource of an executable file: keys and values in UTF-8, each ended by a zero byte, a key before its
/// value. None if the file cannot be read, is no executable file or holds no resource. The file is not loaded.
std::optional<std::string> readVersionResource(const norq_std::WString& path);

/// Copies the bytes at an offset of a file; false if they are not all there.
using ReadAt = std::function<bool(std::uint64_t offset, std::span<std::byte> bytes)>;

/// The same for a file image, however it is read. Any image is safe: what lies outside of it, or claims more than
/// `maxVersionResource` bytes, is not there.
NORQSTD_EXPORT std::optional<std::string> findVersionResource(const ReadAt& readAt);

constexpr std::size_t maxVersionResource = 64 * 1024;

} // namespace norq_std_internal::platform

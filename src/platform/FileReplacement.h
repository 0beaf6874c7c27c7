#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace norq_std_internal::platform {

enum class Replacement : std::uint8_t {
    Done,
    NotPossible, ///< it would change more than the content, or the directory does not allow it; nothing happened
    Failed,      ///< the new content could not be stored, see the last error; nothing happened
};

/// Replaces an existing file by a new one with this content and the old one's permissions, in one step: whoever opens
/// the path finds the old file or the new one, whole, also after a crash of the process or of the machine; once this
/// has returned, the new one.
///
/// A process that is killed leaves nothing behind but, on file systems without unnamed files or in the last moment
/// before the step, a hidden file of the name with a random ending.
Replacement replaceFile(std::u16string_view path, const void* content, std::size_t size);

/// Makes a file that does not exist, in the same way; `NotPossible` if there is anything.
Replacement createFile(std::u16string_view path, const void* content, std::size_t size);

} // namespace norq_std_internal::platform

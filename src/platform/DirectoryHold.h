#pragma once

#include "base/Export.h"

#include <chrono>
#include <cstdint>
#include <string_view>

namespace norq_std_internal::platform {

/// A directory that is held for as long as this object lives: against every other hold of it, in this process and in
/// others, or shared with those that are shared too. It ends however the process ends, and keeps nobody from the files.
class NORQSTD_EXPORT DirectoryHold {
public:
    enum class Mode : std::uint8_t { Shared, Exclusive };

    /// Holds nothing.
    DirectoryHold() = default;
    /// Waits for as long as that for others to give it up; then it holds nothing, and the last error is
    /// SharingViolation. Any other failure ends the wait at once. On a file system that knows no locks of directories
    /// nobody is kept out, and `isHeld` says yes.
    DirectoryHold(std::u16string_view path, Mode mode, std::chrono::milliseconds limit);
    DirectoryHold(DirectoryHold&& other) noexcept;
    DirectoryHold& operator=(DirectoryHold&& other) noexcept;
    ~DirectoryHold();

    bool isHeld() const { return descriptor >= 0; }

private:
    int descriptor = -1;
};

} // namespace norq_std_internal::platform

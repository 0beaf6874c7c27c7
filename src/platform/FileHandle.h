#pragma once

#include "base/Export.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string_view>

namespace norq_std_internal::platform {

/// An open file, closed with this object. Programs that the process starts do not inherit it.
///
/// Calls fail as those of platform/FileSystem.h do; one thread at a time.
class NORQSTD_EXPORT FileHandle {
public:
    FileHandle() = default;
    FileHandle(FileHandle&& other) noexcept
        : descriptor(other.release())
        , regular(other.regular)
        , openedSize(other.openedSize) {}
    FileHandle& operator=(FileHandle&& other) noexcept;
    ~FileHandle();

    bool isOpen() const { return descriptor >= 0; }
    /// False if the system could not keep what was written; it is closed all the same.
    bool close();

    /// The length of a file in bytes; 0 for what has none.
    bool size(std::uint64_t& bytes) const;
    /// What the system said at the opening, without asking again: a regular file, and its length, 0 for what has none.
    bool isRegular() const { return regular; }
    std::uint64_t sizeWhenOpened() const { return openedSize; }

    /// Reads until that many bytes are there or the file ends: the number of bytes, -1 if the system fails before that.
    std::int64_t read(void* target, std::size_t bytes);
    /// The number of bytes written. On fewer than asked for, the last error tells why.
    std::size_t write(const void* source, std::size_t bytes);

    bool seekTo(std::uint64_t position);
    bool seekToEnd();
    bool setSize(std::uint64_t bytes);
    /// Asks for room on the disk up to that length, without changing the length. True also where the file system cannot
    /// tell.
    bool reserve(std::uint64_t bytes);
    /// Returns when the disk has what was written.
    bool flush();

private:
    friend class FileOpener;
    explicit FileHandle(int opened)
        : descriptor(opened) {}
    int release() {
        const int mine = descriptor;
        descriptor = -1;
        return mine;
    }

    int descriptor = -1;
    bool regular = false;
    std::uint64_t openedSize = 0;
};

enum class OpenMode : std::uint8_t {
    Read,   ///< an existing file
    Write,  ///< made if missing; what it holds stays
    Append, ///< the same, and every write goes to the end
};

/// Opens a file, never waiting for the other end of a pipe. A directory is refused (AccessDenied). `created` tells
/// whether this call has made the file. What the file may be used for is told by its `isOpen`.
NORQSTD_EXPORT FileHandle openFile(std::u16string_view path, OpenMode mode, bool* created = nullptr);

enum class ShareMode : std::uint8_t {
    ReadShared,         ///< reads an existing file; others may read
    OverwriteExclusive, ///< reads and writes a file that is made, or emptied once it is held alone
    AppendExclusive,    ///< the same with what it holds, from its end
};

/// Opens a file and holds it against every other opening of this kind, in this process or another; SharingViolation, at
/// once, if one stands against it. The file held is the one that has the path, also if another is put there meanwhile.
/// The hold ends with the handle.
NORQSTD_EXPORT FileHandle openShared(std::u16string_view path, ShareMode mode);

/// Opens in the terms of the C runtime, for callers that own the result: -1 or null, with the last error, on failure.
NORQSTD_EXPORT int openDescriptor(std::u16string_view path, int flags, std::uint32_t permissions);
NORQSTD_EXPORT std::FILE* openStream(std::u16string_view path, std::u16string_view mode);
NORQSTD_EXPORT void closeDescriptor(int descriptor) noexcept;
NORQSTD_EXPORT void closeStream(std::FILE* stream) noexcept;

/// Flags and permissions of a descriptor that reads and appends, for a file made for its owner alone if it is not
/// there.
extern const int appendFlags;
extern const int ownerOnly;

/// Appends the pieces, in one call of the system while they are few: the number of those that are in the file as a
/// whole. On fewer than all the last error tells why, and of the next nothing is left, unless somebody else has written
/// to the file as well.
std::size_t appendPieces(int descriptor, std::span<const std::string_view> pieces) noexcept;
bool descriptorSize(int descriptor, std::uint64_t& bytes) noexcept;

} // namespace norq_std_internal::platform

#pragma once

#include "base/Export.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <string_view>

namespace norq_std_internal::platform {

// The tree of files, under the paths of the family: `C:\a\b` is /a/b, `\a` too begins at the root, anything else at the
// working directory. Either separator is taken. Other drives and network paths lead nowhere (PathNotFound). Names are
// UTF-8 below.
//
// A call that answers false has failed and leaves the last error. Any thread may call.

/// The path as the operating system takes it; empty, with the last error set, if it leads nowhere or holds a zero unit
/// or half of a surrogate pair.
NORQSTD_EXPORT std::string nativePath(std::u16string_view path);

/// The path of an absolute native path, in `path`. False (with the error of text that cannot be translated) if a name
/// in it is not UTF-8 or holds a backslash.
NORQSTD_EXPORT bool widePath(std::string_view native, std::u16string& path);

struct FileStatus {
    enum class Kind : std::uint8_t { File, Directory, Link, Other };

    Kind kind = Kind::Other;
    bool hidden = false;     ///< the name begins with a dot
    bool readOnly = false;   ///< nobody has permission to write
    bool compressed = false; ///< by the file system
    std::uint32_t mode = 0;
    std::uint64_t size = 0;            ///< in bytes; 0 for what is not a file
    std::int64_t modificationTime = 0; ///< in nanoseconds since 1970 began
    std::int64_t statusChangeTime = 0; ///< the same, of the last change of the entry itself
    std::int64_t creationTime = 0;     ///< the same; 0 where the file system does not keep it
    std::uint64_t device = 0;          ///< with `fileNumber` names the file while it lives, whatever its path
    std::uint64_t fileNumber = 0;

    bool isDirectory() const { return kind == Kind::Directory; }
    bool isSameFile(const FileStatus& other) const { return device == other.device && fileNumber == other.fileNumber; }
};

/// Of what the path leads to, through links.
NORQSTD_EXPORT bool fileStatus(std::u16string_view path, FileStatus& status);
/// Of the entry itself, which may be a link.
NORQSTD_EXPORT bool linkStatus(std::u16string_view path, FileStatus& status);

enum class Access : std::uint8_t { Exists, Read, Write };

/// What the process, as it runs now, may do with the file.
NORQSTD_EXPORT bool mayAccess(std::u16string_view path, Access access);

/// Whether a name is taken into a listing.
using NameTest = bool (*)(std::u16string_view name);

/// The names in a directory, in its own order, and how many were left out: those that are not UTF-8, that hold a
/// backslash, or that the test refuses.
NORQSTD_EXPORT bool listDirectory(std::u16string_view path, NameTest test, std::list<std::u16string>& names,
                                  std::size_t& leftOut);

NORQSTD_EXPORT bool makeDirectory(std::u16string_view path);

/// Removes an empty directory, or any other entry; a link itself, never what it leads to.
NORQSTD_EXPORT bool removeEntry(std::u16string_view path);

/// Removes an entry with all that lies below it, whatever its names are. Links are removed and never followed, also if
/// somebody puts one in the place of a directory meanwhile. Ends at the first failure.
NORQSTD_EXPORT bool removeTree(std::u16string_view path);

/// Renames in one step; what stood at the new path is replaced.
NORQSTD_EXPORT bool renameEntry(std::u16string_view from, std::u16string_view to);

/// Sets the times of an existing file to now, else creates an empty one.
NORQSTD_EXPORT bool touchFile(std::u16string_view path);

/// False too (InsufficientBuffer) if the path needs more than `limit` units.
NORQSTD_EXPORT bool workingDirectory(std::u16string& path, std::size_t limit);
NORQSTD_EXPORT bool setWorkingDirectory(std::u16string_view path);

/// The root of the drive that the working directory lies on, also while there is no such directory.
NORQSTD_EXPORT std::u16string workingDrive();

/// The roots of all drives.
NORQSTD_EXPORT std::list<std::u16string> driveRoots();

/// Free bytes of the file system that the path lies on.
NORQSTD_EXPORT bool freeDiskSpace(std::u16string_view path, std::uint64_t& bytes);

/// The lengths of a file, or of all files below a directory. Links below it are not followed and count nothing;
/// directories that cannot be read count nothing and are counted in `unread`.
NORQSTD_EXPORT bool treeSize(std::u16string_view path, std::uint64_t& bytes, std::size_t& unread);

} // namespace norq_std_internal::platform

#include "platform/FileSystem.h"

#include "internal/AsciiRuns.h"
#include "internal/UnicodeUnits.h"
#include "platform/Error.h"
#include "platform/NarrowText.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace norq_std_internal::platform {
namespace {

bool isSeparator(char16_t unit) { return unit == u'\\' || unit == u'/'; }

bool startsAtDrive(std::u16string_view path) {
    return path.size() >= 3 && (path[0] | 0x20) >= u'a' && (path[0] | 0x20) <= u'z' && path[1] == u':' &&
           isSeparator(path[2]);
}

/// The bytes of a path that is ASCII, else nothing.
std::string asciiPath(std::u16string_view path) {
    std::string bytes(path.size(), '\0');
    const std::size_t run = narrowAscii(path.data(), path.size(), reinterpret_cast<unsigned char*>(bytes.data()));
    return run == path.size() ? bytes : std::string();
}

/// Turns separators into single slashes, without one at the end of what is more.
void normalizeSeparators(std::string& path) {
    std::size_t length = 0;
    for (const char byte : path) {
        const bool separates = byte == '\\' || byte == '/';
        if (!separates || length == 0 || path[length - 1] != '/')
            path[length++] = separates ? '/' : byte;
    }
    if (length > 1 && path[length - 1] == '/')
        --length;
    path.resize(length);
}

std::string nowhere(std::int32_t error) {
    setLastError(error);
    return {};
}

/// The outcome of a system call, with its error kept.
bool succeeded(int result) {
    if (result != 0)
        setLastErrorFromNative();
    return result == 0;
}

std::int64_t nanoseconds(const struct statx_timestamp& time) { return time.tv_sec * 1'000'000'000 + time.tv_nsec; }

FileStatus::Kind kindOf(std::uint32_t mode) {
    return S_ISREG(mode)   ? FileStatus::Kind::File
           : S_ISDIR(mode) ? FileStatus::Kind::Directory
           : S_ISLNK(mode) ? FileStatus::Kind::Link
                           : FileStatus::Kind::Other;
}

bool readStatus(std::u16string_view path, int flags, FileStatus& status) {
    const std::string native = nativePath(path);
    struct statx found {};
    if (native.empty() || !succeeded(::statx(AT_FDCWD, native.c_str(), flags, STATX_BASIC_STATS | STATX_BTIME, &found)))
        return false;
    status = FileStatus();
    status.kind = kindOf(found.stx_mode);
    const std::size_t name = native.rfind('/') + 1;
    status.hidden = native[name] == '.' && native.compare(name, std::string::npos, ".") != 0 &&
                    native.compare(name, std::string::npos, "..") != 0;
    status.mode = found.stx_mode;
    status.readOnly = (found.stx_mode & 0222) == 0;
    status.compressed = (found.stx_attributes & STATX_ATTR_COMPRESSED) != 0;
    status.size = status.kind == FileStatus::Kind::File ? found.stx_size : 0;
    status.modificationTime = nanoseconds(found.stx_mtime);
    status.statusChangeTime = nanoseconds(found.stx_ctime);
    status.creationTime = (found.stx_mask & STATX_BTIME) != 0 ? nanoseconds(found.stx_btime) : 0;
    status.device = makedev(found.stx_dev_major, found.stx_dev_minor);
    status.fileNumber = found.stx_ino;
    return true;
}

} // namespace

std::string nativePath(std::u16string_view path) {
    if (path.empty())
        return nowhere(FileNotFound);
    std::string native = asciiPath(path);
    if (native.empty() ? path.find(u'\0') != path.npos : native.find('\0') != native.npos)
        return nowhere(InvalidParameter);
    if (native.empty()) {
        if (!isWellFormed(path))
            return nowhere(errorFromNative(EILSEQ));
        appendUtf8(native, path);
    }
    if (startsAtDrive(path)) {
        if ((path[0] | 0x20) != u'c')
            return nowhere(PathNotFound);
        native.erase(0, 2);
    } else if (path.size() >= 2 && isSeparator(path[0]) && isSeparator(path[1])) {
        return nowhere(PathNotFound);
    }
    normalizeSeparators(native);
    return native;
}

bool widePath(std::string_view native, std::u16string& path) {
    std::u16string text;
    if (!native.starts_with('/') || native.find('\\') != std::string_view::npos || !appendWellFormed(text, native)) {
        setLastError(errorFromNative(EILSEQ));
        return false;
    }
    path = u"C:";
    for (const char16_t unit : text)
        path += unit == u'/' ? u'\\' : unit;
    return true;
}

bool fileStatus(std::u16string_view path, FileStatus& status) { return readStatus(path, 0, status); }

bool linkStatus(std::u16string_view path, FileStatus& status) { return readStatus(path, AT_SYMLINK_NOFOLLOW, status); }

bool mayAccess(std::u16string_view path, Access access) {
    const std::string native = nativePath(path);
    const int right = access == Access::Read ? R_OK : access == Access::Write ? W_OK : F_OK;
    return !native.empty() && succeeded(::faccessat(AT_FDCWD, native.c_str(), right, AT_EACCESS));
}

bool makeDirectory(std::u16string_view path) {
    const std::string native = nativePath(path);
    return !native.empty() && succeeded(::mkdir(native.c_str(), 0777));
}

bool renameEntry(std::u16string_view from, std::u16string_view to) {
    const std::string nativeFrom = nativePath(from);
    if (nativeFrom.empty())
        return false;
    const std::string nativeTo = nativePath(to);
    return !nativeTo.empty() && succeeded(::rename(nativeFrom.c_str(), nativeTo.c_str()));
}

bool touchFile(std::u16string_view path) {
    const std::string native = nativePath(path);
    if (native.empty())
        return false;
    if (::utimensat(AT_FDCWD, native.c_str(), nullptr, 0) == 0)
        return true;
    if (errno != ENOENT)
        return succeeded(-1);
    const int created = ::open(native.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, 0666);
    if (created < 0)
        return succeeded(-1);
    ::close(created);
    return true;
}

bool workingDirectory(std::u16string& path, std::size_t limit) {
    char native[PATH_MAX];
    if (::getcwd(native, sizeof native) == nullptr)
        return succeeded(-1);
    std::u16string wide;
    if (!widePath(native, wide))
        return false;
    if (wide.size() > limit) {
        setLastError(InsufficientBuffer);
        return false;
    }
    path = std::move(wide);
    return true;
}

bool setWorkingDirectory(std::u16string_view path) {
    const std::string native = nativePath(path);
    return !native.empty() && succeeded(::chdir(native.c_str()));
}

std::u16string workingDrive() { return u"C:\\"; }

std::list<std::u16string> driveRoots() { return {workingDrive()}; }

bool freeDiskSpace(std::u16string_view path, std::uint64_t& bytes) {
    const std::string native = nativePath(path);
    struct statvfs space {};
    if (native.empty() || !succeeded(::statvfs(native.c_str(), &space)))
        return false;
    bytes = static_cast<std::uint64_t>(space.f_bfree) * space.f_frsize;
    return true;
}

} // namespace norq_std_internal::platform

#include "platform/FileHandle.h"

#include "platform/CancellationShield.h"
#include "platform/Error.h"
#include "platform/FileSystem.h"
#include "platform/NarrowText.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace norq_std_internal::platform {
namespace {

constexpr int Common = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
constexpr mode_t Permissions = 0666; // less what the process masks

bool succeeded(int result) {
    if (result != 0)
        setLastErrorFromNative();
    return result == 0;
}

int openNative(const std::string& path, int flags) {
    int descriptor;
    do
        descriptor = ::open(path.c_str(), flags, Permissions);
    while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

/// Opens a file or makes it, and tells which; through a link to nothing it is made as if it had been there.
int openOrCreate(const std::string& path, int flags, bool& created) {
    int descriptor = openNative(path, flags);
    if (descriptor >= 0 || errno != ENOENT)
        return descriptor;
    descriptor = openNative(path, flags | O_CREAT | O_EXCL);
    created = descriptor >= 0;
    return descriptor >= 0 || errno != EEXIST ? descriptor : openNative(path, flags | O_CREAT);
}

/// The number of bytes done, and whether the system failed, with the last error set, before all were.
struct Transferred {
    std::size_t bytes;
    bool failed;
};

template <class Transfer>
Transferred transferAll(std::size_t bytes, Transfer transfer) {
    std::size_t done = 0;
    while (done < bytes) {
        const ssize_t count = transfer(done, bytes - done);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) {
            setLastErrorFromNative();
            return {done, true};
        }
        if (count == 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    return {done, false};
}

} // namespace

/// Makes handles of what was opened.
class FileOpener {
public:
    /// Refuses a directory, and makes what is no file wait as usual from now on.
    static FileHandle opened(int descriptor, struct stat& status) {
        if (descriptor < 0) {
            setLastErrorFromNative();
            return {};
        }
        FileHandle handle(descriptor);
        if (!succeeded(::fstat(descriptor, &status)))
            return {};
        if (S_ISDIR(status.st_mode)) {
            setLastError(AccessDenied);
            return {};
        }
        if (!S_ISREG(status.st_mode) && ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) & ~O_NONBLOCK) < 0) {
            setLastErrorFromNative();
            return {};
        }
        handle.regular = S_ISREG(status.st_mode);
        handle.openedSize = handle.regular ? static_cast<std::uint64_t>(status.st_size) : 0;
        return handle;
    }

    /// One attempt; an open handle without a lock never leaves here. `replaced` if the path has another file meanwhile.
    static FileHandle openShared(const std::string& path, ShareMode mode, bool& replaced) {
        const bool reads = mode == ShareMode::ReadShared;
        struct stat mine {};
        FileHandle handle = opened(openNative(path, Common | (reads ? O_RDONLY : O_RDWR | O_CREAT)), mine);
        if (!handle.isOpen())
            return {};
        struct flock whole {};
        whole.l_type = reads ? F_RDLCK : F_WRLCK;
        whole.l_whence = SEEK_SET;
        if (::fcntl(handle.descriptor, F_OFD_SETLK, &whole) != 0) {
            setLastError(errno == EAGAIN || errno == EACCES ? SharingViolation : errorFromNative(errno));
            return {};
        }
        struct stat current {};
        replaced =
            ::stat(path.c_str(), &current) != 0 || current.st_dev != mine.st_dev || current.st_ino != mine.st_ino;
        if (replaced)
            return {};
        if (mode == ShareMode::OverwriteExclusive && !handle.setSize(0))
            return {};
        if (mode == ShareMode::AppendExclusive && !handle.seekToEnd())
            return {};
        return handle;
    }
};

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
    if (this != &other) {
        closeDescriptor(release());
        descriptor = other.release();
        regular = other.regular;
        openedSize = other.openedSize;
    }
    return *this;
}

FileHandle::~FileHandle() { closeDescriptor(descriptor); }

bool FileHandle::close() {
    const CancellationShield shield;
    const int closed = release();
    return closed < 0 || ::close(closed) == 0 || errno == EINTR || succeeded(-1);
}

bool FileHandle::size(std::uint64_t& bytes) const { return descriptorSize(descriptor, bytes); }

std::int64_t FileHandle::read(void* target, std::size_t bytes) {
    const Transferred done = transferAll(bytes, [&](std::size_t from, std::size_t rest) {
        return ::read(descriptor, static_cast<char*>(target) + from, rest);
    });
    return done.failed ? -1 : static_cast<std::int64_t>(done.bytes);
}

std::size_t FileHandle::write(const void* source, std::size_t bytes) {
    return transferAll(bytes,
                       [&](std::size_t from, std::size_t rest) {
                           return ::write(descriptor, static_cast<const char*>(source) + from, rest);
                       })
        .bytes;
}

bool FileHandle::seekTo(std::uint64_t position) {
    return ::lseek(descriptor, static_cast<off_t>(position), SEEK_SET) >= 0 || succeeded(-1);
}

bool FileHandle::seekToEnd() { return ::lseek(descriptor, 0, SEEK_END) >= 0 || succeeded(-1); }

bool FileHandle::setSize(std::uint64_t bytes) { return succeeded(::ftruncate(descriptor, static_cast<off_t>(bytes))); }

bool FileHandle::reserve(std::uint64_t bytes) {
    struct rlimit limit {};
    if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && bytes > limit.rlim_cur) { // which room beyond the end is not held to
        setLastError(FileTooLarge);
        return false;
    }
    return ::fallocate(descriptor, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(bytes)) == 0 ||
           (errno != ENOSPC && errno != EDQUOT && errno != EFBIG) || succeeded(-1);
}

bool FileHandle::flush() { return succeeded(::fsync(descriptor)); }

bool descriptorSize(int descriptor, std::uint64_t& bytes) noexcept {
    struct stat status {};
    if (!succeeded(::fstat(descriptor, &status)))
        return false;
    bytes = S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0;
    return true;
}

FileHandle openFile(std::u16string_view path, OpenMode mode, bool* created) {
    const std::string native = nativePath(path);
    if (native.empty())
        return {};
    bool made = false;
    struct stat status {};
    FileHandle handle = FileOpener::opened(
        mode == OpenMode::Read
            ? openNative(native, Common | O_RDONLY)
            : openOrCreate(native, Common | O_WRONLY | (mode == OpenMode::Append ? O_APPEND : 0), made),
        status);
    if (created != nullptr)
        *created = made;
    return handle;
}

FileHandle openShared(std::u16string_view path, ShareMode mode) {
    const std::string native = nativePath(path);
    if (native.empty())
        return {};
    // A file system that numbers a file anew each time it is asked would go on for ever.
    for (int attempt = 0; attempt < 1000; ++attempt) {
        bool replaced = false;
        FileHandle handle = FileOpener::openShared(native, mode, replaced);
        if (!replaced)
            return handle;
    }
    setLastError(SharingViolation);
    return {};
}

int openDescriptor(std::u16string_view path, int flags, std::uint32_t permissions) {
    const std::string native = nativePath(path);
    if (native.empty())
        return -1;
    const int descriptor = ::open(native.c_str(), flags | O_CLOEXEC, static_cast<mode_t>(permissions));
    if (descriptor < 0)
        setLastErrorFromNative();
    return descriptor;
}

std::FILE* openStream(std::u16string_view path, std::u16string_view mode) {
    const std::string native = nativePath(path);
    if (native.empty())
        return nullptr;
    std::FILE* stream = std::fopen(native.c_str(), (toUtf8(mode) + "e").c_str());
    if (stream == nullptr)
        setLastErrorFromNative();
    return stream;
}

void closeDescriptor(int descriptor) noexcept {
    const CancellationShield shield;
    if (descriptor >= 0)
        ::close(descriptor);
}

void closeStream(std::FILE* stream) noexcept {
    const CancellationShield shield;
    if (stream != nullptr)
        std::fclose(stream);
}

const int appendFlags = O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC;
const int ownerOnly = S_IRUSR | S_IWUSR;

namespace {

/// Cuts the beginning of a piece off the end of the file, if it still stands there.
void takeBack(int descriptor, std::string_view begun) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0 || status.st_size < static_cast<off_t>(begun.size()))
        return;
    const off_t begin = status.st_size - static_cast<off_t>(begun.size());
    std::array<char, 512> found;
    for (std::size_t done = 0; done < begun.size();) {
        const std::size_t block = std::min(found.size(), begun.size() - done);
        const ssize_t got = ::pread(descriptor, found.data(), block, begin + static_cast<off_t>(done));
        if (got <= 0 || begun.substr(done, static_cast<std::size_t>(got)) !=
                            std::string_view(found.data(), static_cast<std::size_t>(got)))
            return;
        done += static_cast<std::size_t>(got);
    }
    static_cast<void>(succeeded(::ftruncate(descriptor, begin)));
}

/// As `write`, and cheaper where the process has threads: nobody else has to be kept from the position of the
/// descriptor. It is not used, since the file was opened to append.
ssize_t appendSome(int descriptor, const iovec* pieces, std::size_t count) {
    return count == 1 ? ::pwrite(descriptor, pieces->iov_base, pieces->iov_len, 0)
                      : ::pwritev(descriptor, pieces, static_cast<int>(count), 0);
}

} // namespace

std::size_t appendPieces(int descriptor, std::span<const std::string_view> pieces) noexcept {
    std::array<iovec, 64> rest;
    std::size_t appended = 0; // pieces
    std::size_t begun = 0;    // bytes of the next piece
    while (appended < pieces.size()) {
        if (pieces[appended].empty()) {
            ++appended;
            continue;
        }
        const std::size_t count = std::min(rest.size(), pieces.size() - appended);
        for (std::size_t i = 0; i < count; ++i)
            rest[i] = {const_cast<char*>(pieces[appended + i].data()), pieces[appended + i].size()};
        rest[0] = {static_cast<char*>(rest[0].iov_base) + begun, rest[0].iov_len - begun};
        const ssize_t written = appendSome(descriptor, rest.data(), count);
        if (written > 0) {
            begun += static_cast<std::size_t>(written);
            while (appended < pieces.size() && begun >= pieces[appended].size())
                begun -= pieces[appended++].size();
        } else if (written == 0 || errno != EINTR) {
            const int error = written == 0 ? ENOSPC : errno;
            takeBack(descriptor, pieces[appended].substr(0, begun));
            setLastError(errorFromNative(error));
            return appended;
        }
    }
    return appended;
}

} // namespace norq_std_internal::platform

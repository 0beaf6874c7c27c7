#include "platform/DirectoryHold.h"

#include "platform/Error.h"
#include "platform/FileSystem.h"
#include "platform/linux/Descriptor.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

// The system's own wait for a lock has no limit, and whoever may read a directory may lock it: so it is tried again and
// again. Holders keep it for about a write to the disk and often take it again at once; the pauses are short beside
// that, so that a gap between two of them is met soon.

namespace norq_std_internal::platform {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::microseconds FirstPause(50);
constexpr std::chrono::microseconds LastPause(1000);

enum class Outcome : std::uint8_t { Held, Busy, Replaced, Failed };

Outcome tryOnce(const std::string& path, int operation, Descriptor& directory) {
    directory = Descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.valid())
        return Outcome::Failed;
    if (::flock(directory.get(), operation | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK || errno == EINTR)
            return Outcome::Busy;
        return errno == EBADF || errno == ENOLCK || errno == EOPNOTSUPP || errno == EINVAL || errno == ENOSYS
                   ? Outcome::Held
                   : Outcome::Failed;
    }
    struct stat mine {};
    struct stat current {};
    if (::fstat(directory.get(), &mine) != 0 || ::stat(path.c_str(), &current) != 0)
        return Outcome::Failed;
    return mine.st_dev == current.st_dev && mine.st_ino == current.st_ino ? Outcome::Held : Outcome::Replaced;
}

} // namespace

DirectoryHold::DirectoryHold(std::u16string_view path, Mode mode, std::chrono::milliseconds limit) {
    const std::string native = nativePath(path);
    if (native.empty())
        return;
    const Clock::time_point end = Clock::now() + limit;
    auto pause = FirstPause;
    for (;;) {
        Descriptor directory;
        switch (tryOnce(native, mode == Mode::Shared ? LOCK_SH : LOCK_EX, directory)) {
        case Outcome::Held:
            descriptor = directory.release();
            return;
        case Outcome::Failed:
            setLastErrorFromNative();
            return;
        case Outcome::Replaced:
            continue;
        case Outcome::Busy:
            break;
        }
        if (Clock::now() >= end) {
            setLastError(SharingViolation);
            return;
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, LastPause);
    }
}

DirectoryHold::DirectoryHold(DirectoryHold&& other) noexcept
    : descriptor(std::exchange(other.descriptor, -1)) {}

DirectoryHold& DirectoryHold::operator=(DirectoryHold&& other) noexcept {
    std::swap(descriptor, other.descriptor);
    return *this;
}

DirectoryHold::~DirectoryHold() { const Descriptor closing(descriptor); }

} // namespace norq_std_internal::platform

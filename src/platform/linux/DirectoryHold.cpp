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
// again. Holders keep it for about a write to the disk and often want it again at once, which would leave no gap for
// those who try now and then: who waits puts a second lock on the directory, of the other kind, which all may share,
// and who comes and finds one there gives those who wait a head start.

namespace norq_std_internal::platform {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::microseconds FirstPause(50);
constexpr std::chrono::microseconds LastPause(1000);
constexpr std::chrono::microseconds HeadStart(4000);

enum class Outcome : std::uint8_t { Held, Busy, Failed };

Outcome tryOnce(int directory, int operation) {
    if (::flock(directory, operation | LOCK_NB) == 0)
        return Outcome::Held;
    if (errno == EWOULDBLOCK || errno == EINTR)
        return Outcome::Busy;
    return errno == EBADF || errno == ENOLCK || errno == EOPNOTSUPP || errno == EINVAL || errno == ENOSYS
               ? Outcome::Held
               : Outcome::Failed;
}

struct flock wholeRange(int type) {
    struct flock range {};
    range.l_type = static_cast<short>(type);
    range.l_whence = SEEK_SET;
    return range;
}

void setWaiting(int directory, bool waits) {
    struct flock mark = wholeRange(waits ? F_RDLCK : F_UNLCK);
    ::fcntl(directory, F_OFD_SETLK, &mark); // without it the wait may be longer
}

bool othersWait(int directory) {
    struct flock mark = wholeRange(F_WRLCK);
    return ::fcntl(directory, F_OFD_GETLK, &mark) == 0 && mark.l_type != F_UNLCK;
}

bool isStillAt(int directory, const std::string& path) {
    struct stat mine {};
    struct stat current {};
    return ::fstat(directory, &mine) == 0 && ::stat(path.c_str(), &current) == 0 && mine.st_dev == current.st_dev &&
           mine.st_ino == current.st_ino;
}

Outcome waitUntil(Clock::time_point end, int directory, int operation) {
    std::chrono::microseconds pause = FirstPause;
    if (othersWait(directory)) {
        setWaiting(directory, true);
        std::this_thread::sleep_for(HeadStart);
        pause = LastPause;
    }
    for (;;) {
        const Outcome outcome = tryOnce(directory, operation);
        if (outcome != Outcome::Busy || Clock::now() >= end)
            return outcome;
        setWaiting(directory, true);
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, LastPause);
    }
}

} // namespace

DirectoryHold::DirectoryHold(std::u16string_view path, Mode mode, std::chrono::milliseconds limit) {
    const std::string native = nativePath(path);
    if (native.empty())
        return;
    const Clock::time_point end = Clock::now() + limit;
    for (;;) {
        Descriptor directory(::open(native.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        const Outcome outcome = directory.valid()
                                    ? waitUntil(end, directory.get(), mode == Mode::Shared ? LOCK_SH : LOCK_EX)
                                    : Outcome::Failed;
        if (outcome == Outcome::Failed) {
            setLastErrorFromNative();
            return;
        }
        if (outcome == Outcome::Busy) {
            setLastError(SharingViolation);
            return;
        }
        if (isStillAt(directory.get(), native)) { // else it was replaced, or removed, meanwhile
            setWaiting(directory.get(), false);
            descriptor = directory.release();
            return;
        }
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

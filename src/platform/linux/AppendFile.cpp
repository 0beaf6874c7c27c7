#include "platform/AppendFile.h"

#include "platform/Error.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace norq_std_internal::platform {

const int appendFlags = O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC;
const int ownerOnly = S_IRUSR | S_IWUSR;

namespace {

/// Cuts off what was written last, if nothing stands behind it.
void takeBack(int file, std::size_t written) {
    const off_t behind = lseek(file, 0, SEEK_CUR);
    struct stat status {};
    if (behind >= 0 && fstat(file, &status) == 0 && status.st_size == behind) [[maybe_unused]]
        const int ignored = ftruncate(file, behind - static_cast<off_t>(written));
}

} // namespace

bool appendWhole(int file, const void* bytes, std::size_t count) noexcept {
    const char* const begin = static_cast<const char*>(bytes);
    std::size_t done = 0;
    while (done < count) {
        const ssize_t written = write(file, begin + done, count - done);
        if (written > 0) {
            done += static_cast<std::size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            const int error = written == 0 ? ENOSPC : errno;
            if (done > 0)
                takeBack(file, done);
            errno = error;
            setLastErrorFromNative();
            return false;
        }
    }
    return true;
}

bool openFileLength(int file, std::uint64_t& length) noexcept {
    struct stat status {};
    if (fstat(file, &status) != 0) {
        setLastErrorFromNative();
        return false;
    }
    length = static_cast<std::uint64_t>(status.st_size);
    return true;
}

} // namespace norq_std_internal::platform

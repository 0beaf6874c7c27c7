#include "platform/TemporaryFile.h"

#include "platform/Error.h"
#include "platform/FileSystem.h"

#include <cerrno>
#include <random>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace norq_std_internal::platform {

namespace {

constexpr std::string_view LETTERS = "abcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::size_t RANDOM_LETTERS = 6;
constexpr int ATTEMPTS = 100;
constexpr mode_t EVERYBODY = 0666; // less the process's mask

int createUnderRandomName(std::u16string& path) {
    std::random_device random;
    std::uniform_int_distribution<std::size_t> letter(0, LETTERS.size() - 1);
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        for (std::size_t i = path.size() - RANDOM_LETTERS; i < path.size(); ++i)
            path[i] = static_cast<char16_t>(LETTERS[letter(random)]);
        const std::string native = nativePath(path);
        if (native.empty())
            return -1;
        const int fd = open(native.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, EVERYBODY);
        if (fd >= 0)
            return fd;
        setLastErrorFromNative();
        if (errno != EEXIST)
            return -1;
    }
    return -1;
}

} // namespace

std::FILE* createTemporaryFile(std::u16string& path, std::u16string_view model) {
    const int fd = createUnderRandomName(path);
    if (fd < 0)
        return nullptr;
    // Permissions that cannot be taken over leave a file that its owner can use. The owner can be only by root.
    struct stat old {};
    const std::string native = nativePath(model);
    if (!native.empty() && stat(native.c_str(), &old) == 0 && fchmod(fd, old.st_mode & 0777) == 0 &&
        fchown(fd, old.st_uid, old.st_gid) != 0 && fchown(fd, static_cast<uid_t>(-1), old.st_gid) != 0)
        static_cast<void>(fchmod(fd, old.st_mode & 0707)); // not for another group
    std::FILE* const stream = fdopen(fd, "w");
    if (stream == nullptr) {
        setLastErrorFromNative();
        close(fd);
    }
    return stream;
}

} // namespace norq_std_internal::platform

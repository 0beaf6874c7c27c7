#include "platform/FileReplacement.h"

#include "platform/Error.h"
#include "platform/FileSystem.h"
#include "platform/linux/Descriptor.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace norq_std_internal::platform {

namespace {

/// The new file while nobody knows it, gone with this object unless it was put in place.
class NewFile {
public:
    explicit NewFile(const std::string& targetPath, mode_t permissions)
        : target(targetPath) {
        const std::size_t name = target.rfind('/') + 1;
        directory = name == 0 ? "./" : target.substr(0, name);
        stem.append(directory).append(".").append(target, name);
        fd = open(directory.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, permissions);
        if (fd < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL || errno == ENOENT)) {
            named = stem + ".XXXXXX";
            fd = mkostemp(named.data(), O_CLOEXEC);
            if (fd < 0)
                named.clear();
        }
    }
    ~NewFile() {
        if (fd >= 0)
            close(fd);
        if (!named.empty())
            unlink(named.c_str());
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    bool isOpen() const { return fd >= 0; }
    bool isUnnamed() const { return isOpen() && named.empty(); }

    bool takeOver(const struct stat& old) {
        struct stat own {};
        return fstat(fd, &own) == 0 && own.st_uid == old.st_uid &&
               (own.st_gid == old.st_gid || fchown(fd, static_cast<uid_t>(-1), old.st_gid) == 0) &&
               fchmod(fd, old.st_mode & 07777) == 0;
    }

    bool write(const void* content, std::size_t size) {
        const auto* at = static_cast<const char*>(content);
        while (size > 0) {
            const ssize_t written = ::write(fd, at, size);
            if (written < 0 && errno == EINTR)
                continue;
            if (written <= 0)
                return false;
            at += written;
            size -= static_cast<std::size_t>(written);
        }
        return fdatasync(fd) == 0;
    }

    bool putInPlace() {
        if (named.empty() && !giveName())
            return false;
        if (rename(named.c_str(), target.c_str()) != 0)
            return false;
        named.clear();
        syncDirectory();
        return true;
    }

    bool putWhereNothingIs() const {
        if (!linkAs(target))
            return false;
        syncDirectory();
        return true;
    }

private:
    /// The name lasts too. Too late to fail: the file is in place.
    void syncDirectory() const {
        if (const Descriptor folder(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)); folder.valid())
            static_cast<void>(fsync(folder.get()));
    }

    bool linkAs(const std::string& path) const {
        const std::string self = "/proc/self/fd/" + std::to_string(fd);
        return linkat(AT_FDCWD, self.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0;
    }

    bool giveName() {
        static std::atomic<unsigned> counter{0};
        for (int attempt = 0; attempt < 100; ++attempt) {
            std::string name = stem;
            name.append(".").append(std::to_string(getpid())).append(".").append(std::to_string(counter++));
            if (linkAs(name)) {
                named = std::move(name);
                return true;
            }
            if (errno != EEXIST)
                return false;
        }
        return false;
    }

    const std::string target;
    std::string directory;
    std::string stem;
    std::string named; // where the file stands under a name of its own
    int fd = -1;
};

bool hasAccessList(const char* path) { return lgetxattr(path, "system.posix_acl_access", nullptr, 0) > 0; }

} // namespace

Replacement replaceFile(std::u16string_view path, const void* content, std::size_t size) {
    const std::string native = nativePath(path);
    struct stat old {};
    if (native.empty() || lstat(native.c_str(), &old) != 0 || !S_ISREG(old.st_mode) || old.st_nlink != 1 ||
        hasAccessList(native.c_str()))
        return Replacement::NotPossible;
    NewFile file(native, 0600);
    if (!file.isOpen() || !file.takeOver(old))
        return Replacement::NotPossible;
    if (!file.write(content, size)) {
        setLastErrorFromNative();
        return Replacement::Failed;
    }
    return file.putInPlace() ? Replacement::Done : Replacement::NotPossible;
}

Replacement createFile(std::u16string_view path, const void* content, std::size_t size) {
    const std::string native = nativePath(path);
    struct stat there {};
    if (native.empty() || lstat(native.c_str(), &there) == 0)
        return Replacement::NotPossible;
    NewFile file(native, 0666); // less the process's mask
    if (!file.isUnnamed())      // a named one would not have these permissions
        return Replacement::NotPossible;
    if (!file.write(content, size)) {
        setLastErrorFromNative();
        return Replacement::Failed;
    }
    return file.putWhereNothingIs() ? Replacement::Done : Replacement::NotPossible;
}

} // namespace norq_std_internal::platform

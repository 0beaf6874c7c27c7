#include "platform/FileSystem.h"

#include "platform/CancellationShield.h"
#include "platform/Error.h"
#include "platform/NarrowText.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace norq_std_internal::platform {
namespace {

/// An open directory; its entries without "." and "..".
class Directory {
public:
    /// Links in the last place of `name` are followed only where that is asked for.
    Directory(int parent, const char* name, bool followLink) {
        const int descriptor =
            ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | (followLink ? 0 : O_NOFOLLOW));
        if (descriptor < 0)
            return;
        stream = ::fdopendir(descriptor);
        if (stream == nullptr)
            ::close(descriptor);
    }
    ~Directory() {
        const CancellationShield shield;
        if (stream != nullptr)
            ::closedir(stream);
    }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    bool isOpen() const { return stream != nullptr; }
    int descriptor() const { return ::dirfd(stream); }
    void rewind() { ::rewinddir(stream); }

    /// Null at the end, and with errno set after a failure.
    const dirent* next() {
        for (;;) {
            errno = 0;
            const dirent* entry = ::readdir(stream); // NOLINT(concurrency-mt-unsafe): the stream has one user
            if (entry == nullptr || (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0))
                return entry;
        }
    }

private:
    DIR* stream = nullptr;
};

/// In one pass for ASCII. False if the name cannot be text of a path.
bool decodeName(std::string_view name, std::u16string& target) {
    target.resize(name.size());
    char16_t* out = target.data();
    for (const char c : name) {
        if (static_cast<unsigned char>(c) >= 0x80) {
            target.clear();
            return name.find('\\') == std::string_view::npos && appendWellFormed(target, name);
        }
        if (c == '\\')
            return false;
        *out++ = static_cast<char16_t>(c);
    }
    return true;
}

bool failed() {
    setLastErrorFromNative();
    return false;
}

bool isDirectory(int parent, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN)
        return entry.d_type == DT_DIR;
    struct stat status {};
    return ::fstatat(parent, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

/// An entry that is gone meanwhile is removed as well as one that goes now.
bool removeAt(int parent, const char* name, int flags) {
    return ::unlinkat(parent, name, flags) == 0 || errno == ENOENT || failed();
}

/// Empties and removes a directory. What a directory holds is asked again until it stays empty, since removing while
/// reading may pass over entries.
bool removeDirectory(int parent, const char* name) {
    {
        Directory directory(parent, name, false);
        if (!directory.isOpen())
            return failed();
        for (bool removed = true; removed; directory.rewind()) {
            removed = false;
            while (const dirent* entry = directory.next()) {
                if (isDirectory(directory.descriptor(), *entry)) {
                    if (!removeDirectory(directory.descriptor(), entry->d_name))
                        return false;
                } else if (!removeAt(directory.descriptor(), entry->d_name, 0)) {
                    return false;
                }
                removed = true;
            }
            if (errno != 0)
                return failed();
        }
    }
    return removeAt(parent, name, AT_REMOVEDIR);
}

void addDirectory(Directory& directory, std::uint64_t& bytes, std::size_t& unread) {
    while (const dirent* entry = directory.next()) {
        if (isDirectory(directory.descriptor(), *entry)) {
            Directory below(directory.descriptor(), entry->d_name, false);
            if (below.isOpen())
                addDirectory(below, bytes, unread);
            else
                ++unread;
        } else if (entry->d_type == DT_REG || entry->d_type == DT_UNKNOWN) {
            struct stat status {};
            if (::fstatat(directory.descriptor(), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                S_ISREG(status.st_mode))
                bytes += static_cast<std::uint64_t>(status.st_size);
        }
    }
    unread += errno != 0 ? 1 : 0;
}

} // namespace

bool listDirectory(std::u16string_view path, NameTest test, std::list<std::u16string>& names, std::size_t& leftOut) {
    const std::string native = nativePath(path);
    if (native.empty())
        return false;
    Directory directory(AT_FDCWD, native.c_str(), true);
    if (!directory.isOpen())
        return failed();
    leftOut = 0;
    std::u16string name;
    while (const dirent* entry = directory.next()) {
        if (decodeName(entry->d_name, name) && test(name))
            names.push_back(name);
        else
            ++leftOut;
    }
    return errno == 0 || failed();
}

bool removeEntry(std::u16string_view path) {
    const std::string native = nativePath(path);
    if (native.empty())
        return false;
    return ::unlink(native.c_str()) == 0 || (errno == EISDIR && ::rmdir(native.c_str()) == 0) || failed();
}

bool removeTree(std::u16string_view path) {
    const std::string native = nativePath(path);
    if (native.empty())
        return false;
    if (::unlink(native.c_str()) == 0)
        return true;
    return errno == EISDIR ? removeDirectory(AT_FDCWD, native.c_str()) : failed();
}

bool treeSize(std::u16string_view path, std::uint64_t& bytes, std::size_t& unread) {
    bytes = 0;
    unread = 0;
    FileStatus status;
    if (!fileStatus(path, status))
        return false;
    if (!status.isDirectory()) {
        bytes = status.size;
        return true;
    }
    Directory directory(AT_FDCWD, nativePath(path).c_str(), true);
    if (!directory.isOpen())
        return failed();
    addDirectory(directory, bytes, unread);
    return true;
}

} // namespace norq_std_internal::platform

#include "wire/DurableFolder.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace wire {
namespace {

constexpr std::string_view UNDER_WAY = ".tmp";

[[noreturn]] void fail(const std::string& what) { throw std::system_error(errno, std::generic_category(), what); }

/// Closes what it holds.
class Descriptor {
public:
    explicit Descriptor(int opened)
        : number(opened) {}
    ~Descriptor() {
        if (number >= 0)
            close(number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    operator int() const { return number; }

private:
    const int number;
};

void writeAll(int file, std::string_view bytes, const std::string& name) {
    while (!bytes.empty()) {
        const ssize_t count = write(file, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            fail("cannot write " + name);
        bytes.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
}

} // namespace

DurableFolder::DurableFolder(const std::string& folder, StepHook stepHook)
    : path(folder)
    , hook(std::move(stepHook)) {
    if (std::filesystem::create_directories(path)) { // a folder that is new lasts once its parent is synced
        const Descriptor parent(open((path + "/..").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (parent < 0 || fsync(parent) != 0)
            fail("cannot sync the parent of " + path);
    }
    descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        fail("cannot open the folder " + path);
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        close(descriptor);
        throw std::runtime_error("another process holds the folder " + path);
    }
    for (const std::string& name : list())
        if (name.ends_with(UNDER_WAY))
            unlink(at(name).c_str());
}

DurableFolder::~DurableFolder() { close(descriptor); }

std::vector<std::string> DurableFolder::list() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path))
        if (!entry.is_directory())
            names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<std::string> DurableFolder::read(const std::string& name) const {
    const Descriptor file(open(at(name).c_str(), O_RDONLY | O_CLOEXEC));
    if (file < 0 && errno == ENOENT)
        return std::nullopt;
    if (file < 0)
        fail("cannot open " + at(name));
    std::string content;
    char block[64 * 1024];
    for (ssize_t count = 0; (count = ::read(file, block, sizeof block)) != 0;) {
        if (count < 0 && errno != EINTR)
            fail("cannot read " + at(name));
        content.append(block, count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return content;
}

void DurableFolder::replace(const std::string& name, const std::string& content) {
    const std::string temporary = at(name) + std::string(UNDER_WAY);
    step("open");
    {
        const Descriptor file(open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
        if (file < 0)
            fail("cannot create " + temporary);
        const std::string_view bytes = content;
        try {
            step("write");
            writeAll(file, bytes.substr(0, bytes.size() / 2), temporary);
            step("write the rest");
            writeAll(file, bytes.substr(bytes.size() / 2), temporary);
            step("sync");
            if (fdatasync(file) != 0)
                fail("cannot sync " + temporary);
        } catch (const std::system_error&) { // such as a full disk, which this would fill
            unlink(temporary.c_str());
            throw;
        }
    }
    step("rename");
    if (std::rename(temporary.c_str(), at(name).c_str()) != 0)
        fail("cannot rename " + temporary);
    sync();
}

void DurableFolder::rename(const std::string& from, const std::string& to) {
    step("rename");
    if (std::rename(at(from).c_str(), at(to).c_str()) != 0)
        fail("cannot rename " + at(from));
}

void DurableFolder::remove(const std::string& name) {
    step("remove");
    if (unlink(at(name).c_str()) != 0 && errno != ENOENT)
        fail("cannot remove " + at(name));
}

void DurableFolder::sync() {
    step("sync the folder");
    if (fsync(descriptor) != 0)
        fail("cannot sync the folder " + path);
}

} // namespace wire

#include "platform/NamedEvent.h"

#include "internal/UnicodeUnits.h"
#include "platform/CancellationShield.h"
#include "platform/Error.h"
#include "platform/NarrowText.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/WaitSource.h"

#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

// An event is a FIFO in a folder of the user's own in shared memory, and it is set while the FIFO holds a byte, which
// nobody ever takes out. The kernel keeps that byte as long as anybody has the FIFO open, and not a moment longer, so
// the state cannot outlive its holders, whatever ended them. Every holder has it open for reading and writing: then
// opening never blocks, and writing never raises a signal.
//
// What is left behind by a killed holder is a name without a state. A holder keeps a shared lock on the FIFO; who gets
// the exclusive one knows that nobody holds it. The last one that closes removes the name, and who creates an event
// removes names that nobody holds: a number of them, so that the cost does not grow with the events of others. All of
// that happens under the lock of the folder.

namespace norq_std_internal::platform {

namespace {

constexpr int FifoFlags = O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC;
constexpr int MostSwept = 64;
constexpr std::string_view Digits = "0123456789ABCDEF";

/// The name as a file name: UTF-8, with "%xx" for what a file name cannot hold or a person could not type.
std::string fileNameOf(std::u16string_view name) {
    if (name.empty() || !isWellFormed(name)) {
        setLastError(InvalidParameter);
        return {};
    }
    std::string text;
    for (const char character : toUtf8(name)) {
        const auto byte = static_cast<unsigned char>(character);
        const bool leadingDot = byte == '.' && text.empty();
        if (byte > ' ' && byte != '/' && byte != '%' && byte != 0x7F && !leadingDot)
            text += character;
        else
            text.append({'%', Digits[byte >> 4], Digits[byte & 0xF]});
    }
    return text;
}

bool lock(int descriptor, int operation) {
    int result = 0;
    do
        result = ::flock(descriptor, operation);
    while (result != 0 && errno == EINTR);
    return result == 0;
}

bool isFifo(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode);
}

/// The user's folder, held exclusively. Invalid, with `errno`, if it is not there for this user alone.
Descriptor lockedFolder() {
    const uid_t user = ::geteuid();
    const std::string path = "/dev/shm/norqstd-" + std::to_string(user);
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        return {};
    Descriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!folder.valid() || ::fstat(folder.get(), &status) != 0)
        return {};
    if (status.st_uid != user || (status.st_mode & 077) != 0) {
        errno = EACCES;
        return {};
    }
    return lock(folder.get(), LOCK_EX) ? std::move(folder) : Descriptor();
}

/// A name that somebody has removed may be another event's by now.
bool isNamed(int folder, const std::string& name, int fifo) {
    struct stat named {};
    struct stat opened {};
    return ::fstatat(folder, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 && ::fstat(fifo, &opened) == 0 &&
           named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

/// Also of what is no event, which a redirection of a shell may have put there.
void removeIfUnheld(int folder, const std::string& name, int fifo) {
    if (isNamed(folder, name, fifo) && (!isFifo(fifo) || lock(fifo, LOCK_EX | LOCK_NB)))
        ::unlinkat(folder, name.c_str(), 0);
}

void sweep(int folder) {
    std::error_code error;
    std::filesystem::directory_iterator entry("/proc/self/fd/" + std::to_string(folder), error);
    for (int left = MostSwept; left > 0 && !error && entry != std::filesystem::directory_iterator(); --left) {
        const std::string name = entry->path().filename().string();
        const Descriptor fifo(::openat(folder, name.c_str(), FifoFlags));
        if (fifo.valid())
            removeIfUnheld(folder, name, fifo.get());
        entry.increment(error);
    }
}

Descriptor openHeld(int folder, const std::string& name) {
    Descriptor fifo(::openat(folder, name.c_str(), FifoFlags));
    if (fifo.valid() && !isFifo(fifo.get())) {
        removeIfUnheld(folder, name, fifo.get());
        fifo = Descriptor();
    }
    if (!fifo.valid()) {
        sweep(folder);
        if (::mkfifoat(folder, name.c_str(), 0600) != 0 && errno != EEXIST)
            return {};
        fifo = Descriptor(::openat(folder, name.c_str(), FifoFlags));
    }
    return fifo.valid() && lock(fifo.get(), LOCK_SH | LOCK_NB) ? std::move(fifo) : Descriptor();
}

} // namespace

class NamedEvent::Source final : public WaitSource {
public:
    Source(Descriptor opened, std::string name)
        : fifo(std::move(opened))
        , fileName(std::move(name)) {}
    ~Source() override {
        const CancellationShield shield;
        if (const Descriptor folder = lockedFolder(); folder.valid())
            removeIfUnheld(folder.get(), fileName, fifo.get());
    }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    void appendDescriptors(std::vector<pollfd>& descriptors) const override {
        descriptors.push_back({fifo.get(), POLLIN, 0});
    }
    void ready(std::span<const pollfd>) override {}

    bool isSet() const noexcept {
        pollfd waiting{fifo.get(), POLLIN, 0};
        return ::poll(&waiting, 1, 0) == 1;
    }
    bool set() const noexcept { return isSet() || ::write(fifo.get(), "!", 1) == 1 || errno == EAGAIN; }

private:
    const Descriptor fifo;
    const std::string fileName;
};

NamedEvent::NamedEvent(std::unique_ptr<Source> opened)
    : waitSource(std::move(opened)) {}

NamedEvent::~NamedEvent() = default;

std::unique_ptr<NamedEvent> NamedEvent::open(std::u16string_view name) {
    std::string fileName = fileNameOf(name);
    if (fileName.empty())
        return nullptr;
    Descriptor fifo;
    if (const Descriptor folder = lockedFolder(); folder.valid()) {
        fifo = openHeld(folder.get(), fileName);
    }
    if (!fifo.valid()) {
        setLastErrorFromNative();
        return nullptr;
    }
    return std::unique_ptr<NamedEvent>(new NamedEvent(std::make_unique<Source>(std::move(fifo), std::move(fileName))));
}

bool NamedEvent::set() {
    if (waitSource->set())
        return true;
    setLastErrorFromNative();
    return false;
}

WaitSource& NamedEvent::source() { return *waitSource; }

bool NamedEvent::take() { return waitSource->isSet(); }

} // namespace norq_std_internal::platform

#include "platform/Process.h"

#include "internal/UnicodeUnits.h"
#include "platform/CancellationShield.h"
#include "platform/Error.h"
#include "platform/FileSystem.h"
#include "platform/NarrowText.h"
#include "platform/linux/Environment.h"
#include "platform/linux/ExitInfo.h"
#include "platform/linux/OrphanReaper.h"
#include "platform/linux/Scheduling.h"
#include "platform/linux/WaitSource.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <unordered_map>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" { // which the header itself leaves out
#include <sys/pidfd.h>
}

namespace norq_std_internal::platform {

namespace {

constexpr int FirstOwnDescriptor = 3;
constexpr int TerminationWaitMs = 3000;
constexpr std::string_view DeletedMark = " (deleted)";

std::string procPath(std::uint32_t id, const char* entry) { return "/proc/" + std::to_string(id) + '/' + entry; }

bool readExecutable(std::uint32_t id, std::string& path) {
    std::array<char, PATH_MAX> buffer;
    const ssize_t length = ::readlink(procPath(id, "exe").c_str(), buffer.data(), buffer.size());
    if (length < 0) {
        setLastErrorFromNative();
        return false;
    }
    path.assign(buffer.data(), static_cast<std::size_t>(length));
    // A program that was replaced while it runs keeps its name.
    if (path.ends_with(DeletedMark) && ::access(path.c_str(), F_OK) != 0)
        path.resize(path.size() - DeletedMark.size());
    return true;
}

/// What a child is started with: as the program that is started expects it, whatever this process has changed.
class SpawnSettings {
public:
    SpawnSettings() {
        posix_spawnattr_init(&attributes);
        posix_spawn_file_actions_init(&actions);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes, &signals);
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&attributes, &signals);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    /// 0, or the native number of the failure, that of the directory or of the program included.
    int spawn(const std::vector<std::string>& words, const std::string& directory, pid_t& child) {
        int error = 0;
        if (!directory.empty())
            error = posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
        if (error == 0)
            error = posix_spawn_file_actions_addclosefrom_np(&actions, FirstOwnDescriptor);
        if (error != 0)
            return error;
        std::vector<char*> pointers;
        pointers.reserve(words.size() + 1);
        for (const std::string& word : words)
            pointers.push_back(const_cast<char*>(word.c_str()));
        pointers.push_back(nullptr);
        const std::lock_guard guard(environmentMutex());
        return posix_spawn(&child, pointers.front(), &actions, &attributes, pointers.data(), environ);
    }

private:
    posix_spawnattr_t attributes{};
    posix_spawn_file_actions_t actions{};
};

/// The executable and its arguments in UTF-8; empty, with the last error, if one cannot be handed over.
std::vector<std::string> nativeWords(const ProcessStart& what) {
    std::vector<std::string> words{nativePath(what.executable)};
    if (words.front().empty())
        return {};
    for (const std::u16string& argument : what.arguments) {
        if (!isWellFormed(argument) || argument.find(u'\0') != std::u16string::npos) {
            setLastError(InvalidParameter);
            return {};
        }
        words.push_back(toUtf8(argument));
    }
    return words;
}

/// The children that have a handle, so that every handle of a child is the one that reaps it and knows who ended it.
class Children {
public:
    static Children& instance() {
        static Children& children = *new Children;
        return children;
    }

    void add(const std::shared_ptr<ProcessHandle>& child) {
        const std::lock_guard guard(mutex);
        handles[child->id()] = child;
    }
    void removeGone(std::uint32_t id) {
        const std::lock_guard guard(mutex);
        if (const auto found = handles.find(id); found != handles.end() && found->second.expired())
            handles.erase(found);
    }
    /// Null also for one that has ended: its id may be another's.
    std::shared_ptr<ProcessHandle> find(std::uint32_t id) {
        std::shared_ptr<ProcessHandle> child = lookUp(id);
        return child == nullptr || child->hasEnded() ? nullptr : child;
    }

private:
    std::shared_ptr<ProcessHandle> lookUp(std::uint32_t id) {
        const std::lock_guard guard(mutex);
        const auto found = handles.find(id);
        return found == handles.end() ? nullptr : found->second.lock();
    }

    std::mutex mutex;
    std::unordered_map<std::uint32_t, std::weak_ptr<ProcessHandle>> handles;
};

} // namespace

/// Readable once the process has ended. Without a descriptor it ended before there was one.
class ProcessHandle::Source final : public WaitSource {
public:
    void appendDescriptors(std::vector<pollfd>& descriptors) const override {
        descriptors.push_back({descriptor.get(), POLLIN, 0});
    }
    void ready(std::span<const pollfd>) override {}

    Descriptor descriptor;
};

ProcessHandle::ProcessHandle()
    : waitSource(std::make_unique<Source>()) {}

ProcessHandle::~ProcessHandle() {
    if (!isChild())
        return;
    const CancellationShield shield;
    Children::instance().removeGone(processId);
    std::int32_t ignored = 0;
    if (hasEnded())
        readExitCode(ignored);
    else
        OrphanReaper::instance().adopt(std::move(waitSource->descriptor));
}

std::shared_ptr<ProcessHandle> ProcessHandle::start(const ProcessStart& what) {
    const std::vector<std::string> words = nativeWords(what);
    if (words.empty())
        return nullptr;
    std::string directory;
    if (!what.workingDirectory.empty() && (directory = nativePath(what.workingDirectory)).empty())
        return nullptr;
    std::shared_ptr<ProcessHandle> handle(new ProcessHandle);
    pid_t id = 0;
    if (const int error = SpawnSettings().spawn(words, directory, id); error != 0) {
        setLastError(errorFromNative(error));
        return nullptr;
    }
    if (!handle->adoptChild(static_cast<std::uint32_t>(id)))
        return nullptr;
    Children::instance().add(handle);
    return handle;
}

/// The child is not reaped here before it has its descriptor, so the id is its own; unless the program reaps children
/// at large or ignores their ends, and then a descriptor that is no child's is not the right one.
bool ProcessHandle::adoptChild(std::uint32_t id) {
    const auto native = static_cast<pid_t>(id);
    processId = id;
    starter = currentProcessId();
    Descriptor opened(::pidfd_open(native, 0));
    siginfo_t ignored{};
    if (!opened.valid() && errno != ESRCH) {
        setLastErrorFromNative();
        ::kill(native, SIGKILL);
        ::waitid(P_PID, id, &ignored, WEXITED);
        return false;
    }
    if (opened.valid() &&
        ::waitid(P_PIDFD, static_cast<id_t>(opened.get()), &ignored, WEXITED | WNOHANG | WNOWAIT) == 0)
        waitSource->descriptor = std::move(opened);
    return true;
}

bool ProcessHandle::isChild() const noexcept { return starter != 0 && starter == currentProcessId(); }

std::shared_ptr<ProcessHandle> ProcessHandle::open(std::uint32_t id, Right right) {
    if (std::shared_ptr<ProcessHandle> own = Children::instance().find(id))
        return own;
    std::shared_ptr<ProcessHandle> handle(new ProcessHandle);
    handle->processId = id;
    Descriptor opened(::pidfd_open(static_cast<pid_t>(id), 0));
    if (!opened.valid() || (right == Right::Terminate && ::pidfd_send_signal(opened.get(), 0, nullptr, 0) != 0)) {
        setLastErrorFromNative();
        return nullptr;
    }
    handle->waitSource->descriptor = std::move(opened);
    std::string ignored;
    // Without an executable there is nothing that could be kept from being looked at.
    if (!readExecutable(id, ignored) && lastError() == AccessDenied)
        return nullptr;
    return handle;
}

bool ProcessHandle::executable(std::u16string& path) {
    std::string native;
    if (!readExecutable(processId, native))
        return false;
    if (hasEnded()) { // so the id may have been another's
        setLastError(NotFound);
        return false;
    }
    return widePath(native, path);
}

bool ProcessHandle::hasEnded() {
    pollfd waiting{waitSource->descriptor.get(), POLLIN, 0};
    return waiting.fd < 0 || ::poll(&waiting, 1, 0) == 1;
}

bool ProcessHandle::exitCode(std::int32_t& code) {
    const std::lock_guard guard(mutex);
    if (!hasEnded()) {
        code = StillActive;
        return true;
    }
    return readExitCode(code);
}

/// Of a process that has ended. One that is no child here is only looked at, its parent shall reap it.
bool ProcessHandle::readExitCode(std::int32_t& code) {
    if (!known) {
        ExitInfo info;
        const int descriptor = waitSource->descriptor.get();
        const bool told = waitForExit(descriptor, isChild(), info) || askForExit(descriptor, info);
        if (!told && !terminated) {
            setLastErrorFromNative();
            return false;
        }
        const bool asTold = terminated && (!told || info.signal == SIGKILL);
        result = asTold ? terminationCode : info.signal != 0 ? 128 + info.signal : info.code;
        known = true;
    }
    code = result;
    return true;
}

bool ProcessHandle::terminate(std::int32_t code) {
    const std::lock_guard guard(mutex);
    if (isGone())
        return false;
    if (::pidfd_send_signal(waitSource->descriptor.get(), SIGKILL, nullptr, 0) != 0) {
        setLastErrorFromNative();
        return false;
    }
    terminated = true;
    terminationCode = code;
    WaitObject* const ended = this;
    waitForAny({&ended, 1}, TerminationWaitMs);
    return true;
}

bool ProcessHandle::priorityClass(std::uint32_t& number) {
    const std::lock_guard guard(mutex);
    return !isGone() && readPriorityClass(processId, number);
}

bool ProcessHandle::setPriorityClass(std::uint32_t number) {
    const std::lock_guard guard(mutex);
    return !isGone() && changePriorityClass(processId, number);
}

/// The calls that take an id are made only while it is this process's own: a child keeps it until it is reaped, which
/// the mutex puts off, and of another process it is as good as certain.
bool ProcessHandle::isGone() {
    if (!hasEnded())
        return false;
    setLastError(NotFound);
    return true;
}

WaitSource& ProcessHandle::source() { return *waitSource; }

std::uint32_t currentProcessId() noexcept { return static_cast<std::uint32_t>(::getpid()); }

bool listProcesses(std::vector<std::uint32_t>& ids) { return numberedEntries("/proc", ids); }

} // namespace norq_std_internal::platform

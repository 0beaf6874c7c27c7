#pragma once

#include "platform/Event.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace norq_std_internal::platform {

/// The exit code of a process that has not ended.
inline constexpr std::int32_t StillActive = 259;

/// The numbers of the priority classes.
enum PriorityClass : std::uint32_t {
    NormalPriority = 32,
    IdlePriority = 64,
    HighPriority = 128,
    RealtimePriority = 256,
    BelowNormalPriority = 16384,
    AboveNormalPriority = 32768,
};

/// What to start, in the paths of the family.
struct ProcessStart {
    std::u16string executable;
    std::vector<std::u16string> arguments; ///< without the executable itself
    std::u16string workingDirectory;       ///< empty: that of this process
};

/// A process, and as a wait object its end.
///
/// It stands for this one process, also when the id is given to another one later. A child that was started here is
/// reaped as soon as its exit code is asked for behind its end; one whose handle is destroyed before is reaped in the
/// background. A forked copy of this process may look at the child and does not reap it. Any thread may call any
/// operation; a call that answers false has failed and leaves the last error.
class NORQSTD_EXPORT ProcessHandle final : public WaitObject {
public:
    enum class Right : std::uint8_t { Read, Terminate };

    /// Starts a child: no shell, this process's environment, default signal handling, no descriptors but 0, 1 and 2.
    /// Null on failure; then no child is left.
    static std::shared_ptr<ProcessHandle> start(const ProcessStart& what);
    /// Opens a process whose executable this one may look at and, with that right, that it may end. Of a child that has
    /// a handle it gives that one. Null on failure.
    static std::shared_ptr<ProcessHandle> open(std::uint32_t id, Right right);

    ~ProcessHandle() override;
    ProcessHandle(const ProcessHandle&) = delete;
    ProcessHandle& operator=(const ProcessHandle&) = delete;

    std::uint32_t id() const noexcept { return processId; }
    /// The path of the family; fails for what has no executable (a thread of the kernel, a process that has ended) and
    /// for a path that cannot be written as one.
    bool executable(std::u16string& path);

    /// `StillActive`, what the process gave back, what `terminate` was given if that ended it, or 128 and the number of
    /// another signal that did.
    bool exitCode(std::int32_t& code);
    bool hasEnded();
    /// Ends it at once and waits until it is gone, for a moment at most.
    bool terminate(std::int32_t code);

    bool priorityClass(std::uint32_t& number);
    /// Of all threads.
    bool setPriorityClass(std::uint32_t number);

    WaitSource& source() override;
    bool take() override { return hasEnded(); }

private:
    class Source;

    ProcessHandle();

    bool adoptChild(std::uint32_t id);
    bool isChild() const noexcept;
    bool readExitCode(std::int32_t& code);
    bool isGone();

    std::uint32_t processId = 0;
    std::uint32_t starter = 0; ///< the process that started it, which is to reap it; none if it was opened
    std::unique_ptr<Source> waitSource;
    std::mutex mutex;   // guards what follows, and that the process is not reaped while it is called by its id
    bool known = false; ///< the exit code; a child is reaped then
    std::int32_t result = 0;
    bool terminated = false;
    std::int32_t terminationCode = 0;
};

NORQSTD_EXPORT std::uint32_t currentProcessId() noexcept;

/// The ids of all processes that this one can see, ascending.
NORQSTD_EXPORT bool listProcesses(std::vector<std::uint32_t>& ids);

} // namespace norq_std_internal::platform

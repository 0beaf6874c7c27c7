#pragma once

#include "file/File.h"

#include <cstdint>
#include <list>
#include <memory>

namespace norq_std_internal {
class ProcessPimpl;
}

namespace norq_std {

class Event;

/// What a process has of the processor beside others. docs/processes.md tells what each is on this platform.
enum ProcessPriority : int {
    PRIORITY_REALTIME = 0,
    PRIORITY_HIGH = 1,
    PRIORITY_ABOVE_NORMAL = 2,
    PRIORITY_NORMAL = 3,
    PRIORITY_BELOW_NORMAL = 4,
    PRIORITY_IDLE = 5,
};

/// Another program that was started, or a running one that was attached to: to be waited for, asked about, and stopped.
///
/// **Identity.** The object stays with its process: once that has ended, nothing done here reaches another one that was
/// given the same id.
///
/// **Started processes.** A thread waits for the end and signals `getShutdownEvent`, which may be waited on together
/// with anything else. The child is reaped then; if the object is destroyed before, the child runs on and is reaped in
/// the background when it ends. A program needs no handler for children and should not wait for children that it did
/// not start itself: whoever takes away the end of one takes its exit code along.
///
/// **Attached processes.** The same record without that thread: the event is never signaled, so `stop` waits for the
/// whole `maxWaitTime` and then kills, and a wait for the event ends by its own time-out. The exit code of a process
/// that is no child of this one may not be there to read.
///
/// **Stopping.** `stop` signals an event that both processes know by name alone; the other side waits for it with
/// `StopRequest`, and is killed if it does not end in time.
///
/// Copies share the process. Any thread may call any operation, except that `setMaxWaitTime` is not guarded.
class NORQSTD_EXPORT Process : public Object {
public:
    static constexpr std::int32_t DEFAULT_MAX_WAIT_TIME = 30000;

    /// Starts the executable itself, without a shell, in this process's session and with its environment, user and
    /// rights; of the open descriptors only the three standard ones are handed on. An empty working directory is that
    /// of this process.
    ///
    /// The arguments are one text, split and unquoted as a POSIX shell does with words, but without any expansion: so a
    /// path with backslashes belongs in single quotes. docs/processes.md has the rules.
    ///
    /// Throws `NorqAccessException` if the executable or the working directory does not exist or the system does not
    /// start it, and `NorqIllegalArgumentException` for arguments with an open quote, a last lone backslash, a zero
    /// character or half of a surrogate pair; then nothing was started.
    Process(const File& executable, const WString& arguments, const File& workingDirectory);
    /// The same: the environment is not applied.
    Process(const File& executable, const WString& arguments, const File& workingDirectory,
            const std::list<WString>& environment);
    Process(const Process& other) = default;
    Process& operator=(const Process& other) = default;
    ~Process() override;

    WString toString() const override;

    // A process's name is the file name of its executable, case counts. Processes whose executable this one may not
    // look at, those of other users mostly, cannot be attached to.

    /// Attaches to the first of that name, in the order of ids. Throws `NorqIllegalArgumentException` if there is none,
    /// and the `NorqAccessException` of the last failure if not one process could be opened.
    static std::shared_ptr<Process> getProcessByName(const WString& name);
    /// Throws `NorqAccessException` if there is no such process or it cannot be opened.
    static std::shared_ptr<Process> getProcessById(unsigned id);
    static std::shared_ptr<Process> getCurrentProcess();
    static unsigned getCurrentProcessId();

    /// Kills one after the other until no process of that name is left that this one may end; this one is not spared.
    /// None is no fault, and no `NorqException` leaves it.
    static void killProcessByName(const WString& name);

    unsigned getId() const;
    WString getProcessName() const;
    WString getProcessPath() const;

    /// How long `stop` waits for the polite end, in milliseconds; a negative number waits without limit.
    void setMaxWaitTime(std::int32_t ms);

    /// Both throw `NorqAccessException` if the system refuses: less than one has, an ordinary user may give but not
    /// take back. `setPriority` throws `NorqIllegalArgumentException` for a value that has no name.
    ProcessPriority getPriority() const;
    void setPriority(ProcessPriority priority);

    /// Signals the stop event of that name and does not wait. Throws `NorqUnknownException` if the system has none to
    /// give. An empty name reaches nobody.
    void signalShutdown(const WString& eventName);
    /// Signals the stop event, waits, and kills what has not ended in time: `getExitCode` gives 0 for it.
    void stop(const WString& eventName);

    bool isRunning() const;
    /// What the process gave back; 128 and the number of the signal if one ended it. Throws
    /// `NorqIllegalStateException` while it runs, `NorqAccessException` if the system does not tell.
    int getExitCode() const;
    /// Manual reset. Of a started process, it is signaled by its end, or by the end of the last copy of this object if
    /// that comes first.
    std::shared_ptr<Event> getShutdownEvent() const;

private:
    explicit Process(const std::shared_ptr<norq_std_internal::ProcessPimpl>& attached);

    std::shared_ptr<norq_std_internal::ProcessPimpl> pimpl;
    std::int32_t maxWaitTime = DEFAULT_MAX_WAIT_TIME;
    File processPath;
    unsigned id;
};

} // namespace norq_std

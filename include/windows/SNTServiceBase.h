#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace norq_std {
class Event;
}

namespace norq_std_internal::platform {
class SuspendTarget;
}

namespace NorqStd {

class SLog;

/// A word that threads share without a lock, and that is copied with the object that holds it.
template <class T>
class SharedWord {
public:
    SharedWord(T value = T())
        : word(value) {}
    SharedWord(const SharedWord& other)
        : word(other.word.load()) {}
    SharedWord& operator=(const SharedWord& other) {
        word = other.word.load();
        return *this;
    }
    SharedWord& operator=(T value) {
        word = value;
        return *this;
    }
    ~SharedWord() = default;
    operator T() const { return word.load(); }

private:
    std::atomic<T> word;
};

/// The older way of writing a service: derive, override what is needed, and give it the function of a worker thread.
/// New services derive from `norq_std::AbstractService`.
///
///     int main(int argc, char** argv) {
///         MyService service; // names itself, its worker, its version
///         if (service.ParseStandardArgs(argc, argv))
///             return 0;
///         if (service.IsForeground())
///             return service.Work();
///         return service.Start() ? 0 : 1;
///     }
///
/// A process has one active service: the object made last. Nothing is thrown: operations answer 1 or 0, and tell the
/// reason as messages of `norq_std::NTServiceLogger`. An exception that an overridden operation throws on the way of a
/// control ends the process.
///
/// **Threads.** `Start` keeps the thread that calls it: `Handler`, and so every `On...` operation but `OnInit`, runs
/// there. `ServiceMain` and `OnInit` run on a thread of the dispatcher's, the worker's function on a third. `running`
/// tells the worker whether to go on; nobody waits for its end.
///
/// **Pausing** stops the worker wherever it stands, whatever it may hold, until the service is continued. That does
/// not hold up the log or the heap: if need be the worker goes on until it holds none of their locks. While a control
/// is carried out on a paused service and comes to no end, the worker goes on for moments, so that it may give back
/// what the operation waits for. A call of the system that blocks the worker may end early (`EINTR`).
class NORQSTD_EXPORT SNTServiceBase {
public:
    using ThreadProc = std::uint32_t (*)(void*);

    /// `serviceType` and `controlsAccepted` are what the service reports, see `norq_std::ServiceStatus`.
    /// `dependencies` are names, each with a zero unit behind it; see `Install`.
    SNTServiceBase(const norq_std::WString& serviceName, ThreadProc threadProc, int majorVersion, int minorVersion,
                   norq_std::WString dependencies, std::uint32_t serviceType, std::uint32_t controlsAccepted);
    SNTServiceBase(const SNTServiceBase&);
    SNTServiceBase& operator=(const SNTServiceBase&);
    virtual ~SNTServiceBase();

    /// Called before the worker is made; 0 keeps the service from starting.
    virtual int OnInit();
    virtual void OnStop();
    virtual void OnInterrogate();
    /// Called before the worker is stopped.
    virtual void OnPause();
    /// Called before the worker goes on.
    virtual void OnContinue();
    virtual void OnShutdown();
    /// For controls from 128 on; 0 means that the control is not known.
    virtual int OnUserControl(std::uint32_t control);

    void SetLog(SLog* newLog);
    int IsForeground() const;

    /// Whether there is a unit file of the service where `Install` would write it.
    int IsInstalled() const;
    /// Writes a unit file that starts the running program with the machine or, for a user other than root, with the
    /// user's manager. It is there whole or not at all. Each dependency is a service that must run before; with a `+`
    /// in front it is a target. Fails (error 1073) if the service is installed.
    int Install();
    int Uninstall();

    /// Carries out the first argument, whatever case it is written in: `-f` foreground, `-v` version, `-i` install,
    /// `-u` uninstall. 1 if that was all that there is to do.
    int ParseStandardArgs(int argc, const norq_std::WChar* const* argv);
    /// Takes what the main function is given, as UTF-8.
    int ParseStandardArgs(int argc, const char* const* argv);

    /// Runs the service, and returns when it has ended; 0 if the manager of services did not start this process.
    int Start();

    int Initialize();
    void SetStatus(std::uint32_t state);
    static norq_std::WString GetStatusStr(std::uint32_t state);

    // What the dispatcher calls, on the active service; nothing without one.

    static void ServiceMain(std::uint32_t argc, norq_std::WChar** argv);
    static void Handler(std::uint32_t control);

protected:
    static std::atomic<SNTServiceBase*> _instance;

    SLog* log;
    norq_std::WString serviceName;
    int majorVersion;
    int minorVersion;
    SharedWord<void*> statusHandle;
    SharedWord<std::uint32_t> serviceType;
    SharedWord<std::uint32_t> currentState;
    SharedWord<std::uint32_t> controlsAccepted;
    SharedWord<std::uint32_t> win32ExitCode;
    SharedWord<std::uint32_t> serviceSpecificExitCode;
    SharedWord<std::uint32_t> checkPoint;
    SharedWord<std::uint32_t> waitHint;
    SharedWord<std::int32_t> running;
    norq_std::WString dependencies;
    std::shared_ptr<norq_std_internal::platform::SuspendTarget>
        threadHandle; // guarded, as the next, by one lock of all
    std::shared_ptr<norq_std::Event> stopEvent;
    ThreadProc threadProc;
    SharedWord<std::int32_t> foreground;

private:
    using Worker = std::shared_ptr<norq_std_internal::platform::SuspendTarget>;

    void RunService();
    bool StartWorker();
    void CloseHandles();
    Worker GetWorker() const;
    void SignalStop();
    int CallOnInit();
    void HandleControl(std::uint32_t control);
    void HandleStop();
    void HandlePause();
    void HandleContinue();
    void HandleShutdown();
};

} // namespace NorqStd

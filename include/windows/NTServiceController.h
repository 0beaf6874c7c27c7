#pragma once

#include "base/ThreadAnnotations.h"
#include "concurrency/Event.h"
#include "concurrency/Lock.h"
#include "service/ServiceController.h"
#include "windows/ServiceStatus.h"

#include <atomic>
#include <cstdint>

namespace norq_std {

/// Runs an `AbstractService` under the operating system's manager of services, which here is systemd
/// (docs/services.md).
///
/// There is one a process: the last one made is what the static operations work on. Every `AbstractService` makes its
/// own; a program has nothing to do with this class.
///
/// **Threads.** `start` is called on the main thread and keeps it: controls of the manager, `onStop` and the session
/// operations of the service are called there. `onStart` is called on a thread of the dispatcher's, and `run` on a
/// `Thread` of its own. `stop` may be called from any thread.
///
/// **Stopping.** The first stop wins, wherever it comes from; a later one does nothing, and so does a call of `stop`
/// while the service starts. A control of the manager that comes that early is kept until the service runs. The service
/// counts as stopped before its body has ended; for the end of the body 3 seconds are left.
///
/// **Exceptions.** One that leaves `onStart` is reported to the manager as a stop with its error number, and then
/// leaves `start`. One that leaves `onStop` reaches the caller of `stop`, and the service goes on; on the way of a
/// control, which has no caller, it is logged as STD2002, and the service ends with its error number. One that leaves a
/// session operation is logged as STD2002.
class NORQSTD_EXPORT NTServiceController : public ServiceController {
public:
    /// Throws `NorqIllegalArgumentException` for a null service.
    explicit NTServiceController(AbstractService* controlled);
    /// Stops the service if it runs.
    ~NTServiceController() override;

    WString toString() const override;

    /// Throws `NorqIOException` with error 1063 if the manager did not start this process, with 1056 if a service of
    /// the process runs already, and with 13 if the service has no name.
    void start() override;
    void stop(bool setStatus) override;

    // What the dispatcher calls, on the instance; nothing without one.

    static void serviceStartFunction(std::uint32_t argc, WChar** argv);
    /// `eventData` of a session change is a `SessionNotification`, `eventType` a `SessionEvent`.
    static void handleServiceEventEx(std::uint32_t controlCode, std::uint32_t eventType, void* eventData,
                                     void* context);
    /// Stops the instance's service; for signals of the foreground.
    static void defaultServiceSignalHandler(int signal);

    static WString serviceStatusToString(std::uint32_t state);
    static WString controlCodeToString(std::uint32_t controlCode);

private:
    static void serviceMain(std::uint32_t argc, WChar** argv);
    static void controlOfManager(std::uint32_t controlCode, std::uint32_t eventType, void* eventData, void* context);

    void runService();
    void registerControlHandler();
    void setServiceStatus(std::uint32_t state);
    void handle(std::uint32_t controlCode, std::uint32_t eventType, void* eventData);
    bool handleStop(bool report);
    void handleSessionChange(std::uint32_t eventType, std::uint32_t session);
    void endWith(std::int32_t errNum);
    void reportFailedStart(std::int32_t errNum) noexcept;

    static std::atomic<NTServiceController*> instance;

    Event stoppedEvent{false, false};
    ServiceStatus status NORQ_GUARDED_BY(statusLock);
    std::atomic<void*> statusHandle{nullptr};
    std::atomic<bool> setStatusOnStop{true};
    Lock lock;
    bool isStopping NORQ_GUARDED_BY(lock) = true;
    Lock statusLock;
};

} // namespace norq_std

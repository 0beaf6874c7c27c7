#pragma once

#include "service/Application.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace norq_std {

class IController;
class ServiceController;

/// A server process: one class derived from this one, made by the main function.
///
///     int main(int argc, char** argv) {
///         MyService service;
///         service.initializeLogging(u"my-service");
///         service.parseArguments(argc, argv);
///         service.start();
///     }
///
/// With the switch `-F` the program runs in the foreground: `onStart` and then `run`, both on the thread that called
/// `start`. Without it the operating system's service manager starts and stops it, with `run` on a thread of its own;
/// the service does not see the difference. `run` ends when the service sees fit, in general when `stopEvent` is
/// signaled. The manager's stop calls `onStop` alone, where most services signal `stopEvent` themselves.
///
/// **Stopping in the foreground.** While `start` runs there, the first SIGINT, SIGTERM or SIGBREAK calls `stop(true)`;
/// so Ctrl-C and a closed terminal stop the service politely. Where the signal comes from outside, that happens on a
/// thread of the library's own. It holds for a signal whose action is the system's default when `start` is called: what
/// the program registered or ignored itself, on `getSignalHandler` or otherwise, stays as it is. From such a stop
/// on SIGINT and SIGTERM do nothing more, since many senders send twice, and SIGBREAK (Ctrl-\) has its default action:
/// it ends a process that hangs. `start` returns only when the stop has; if there was none, the default actions are
/// back then. A failure of such a stop is logged.
///
/// **Exceptions.** What `onStart` and `run` throw in the foreground reaches the caller of `start`. Under the manager,
/// what `run` throws is logged as STD3008, and the service counts as running until it is stopped. What `onStop` throws
/// reaches whoever called `stop`.
///
/// The object must outlive `start`. `stop` may be called from any thread, that of a signal included.
class NORQSTD_EXPORT AbstractService : public Application {
public:
    /// From now on the console's log-off and shutdown events (codes 5 and 6) are ignored: a service lives on.
    AbstractService();
    ~AbstractService() override;

    WString toString() const override;

    virtual WString getServiceName() = 0;
    virtual void onStart();
    virtual void onStop() = 0;

    // A session of the machine changed. `user` and `domain` are empty where they cannot be found out. Nothing is done
    // by default.

    virtual void onSessionConsoleConnect(const WString& user, const WString& domain, std::uint32_t sessionId);
    virtual void onSessionConsoleDisconnect(const WString& user, const WString& domain, std::uint32_t sessionId);
    virtual void onSessionRemoteConnect(const WString& user, const WString& domain, std::uint32_t sessionId);
    virtual void onSessionRemoteDisconnect(const WString& user, const WString& domain, std::uint32_t sessionId);
    virtual void onSessionLogon(const WString& user, const WString& domain, std::uint32_t sessionId);
    virtual void onSessionLogoff(const WString& user, const WString& domain, std::uint32_t sessionId);
    virtual void onSessionLock(const WString& user, const WString& domain, std::uint32_t sessionId);
    virtual void onSessionUnlock(const WString& user, const WString& domain, std::uint32_t sessionId);

    /// Runs the service to its end. True if it ran in the foreground; false if it ran under the service manager, and
    /// also if that refused, for instance because it did not start this process, which is logged as STD2002.
    bool start();
    /// Signals `stopEvent`, and then calls `onStop` in the foreground, or asks the controller to stop the service; a
    /// refusal of the service manager is logged as STD2002. With `setStatus` the stopping is reported to the manager.
    /// In the foreground each call calls `onStop`.
    void stop(bool setStatus);

protected:
    /// Whether the switch `-F` was given.
    bool inForeground() const;

private:
    friend class ServiceController;

    void runInForeground();

    std::atomic<bool> isEnding{false}; ///< of the destruction: what derives from this is gone
    std::shared_ptr<IController> controller;
};

} // namespace norq_std

#include "platform/ServiceControl.h"

#include "platform/Error.h"
#include "platform/linux/ControlSignals.h"
#include "platform/linux/NotifySocket.h"
#include "platform/linux/SessionMonitor.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <cxxabi.h>
#include <poll.h>
#include <unistd.h>

namespace norq_std_internal::platform {

using norq_std::ServiceStatus;

namespace {

using Clock = std::chrono::steady_clock;

const char* stateText(std::uint32_t state) {
    switch (state) {
    case norq_std::SERVICE_STOPPED:
        return "Stopped";
    case norq_std::SERVICE_START_PENDING:
        return "Starting";
    case norq_std::SERVICE_STOP_PENDING:
        return "Stopping";
    case norq_std::SERVICE_RUNNING:
        return "Running";
    case norq_std::SERVICE_CONTINUE_PENDING:
        return "Continuing";
    case norq_std::SERVICE_PAUSE_PENDING:
        return "Pausing";
    case norq_std::SERVICE_PAUSED:
        return "Paused";
    default:
        return nullptr;
    }
}

/// Microseconds of the clock that systemd puts requests for a reload in order by.
std::string monotonicMicroseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::to_string(static_cast<std::int64_t>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000);
}

/// Keeps systemd told that the control thread is alive, twice as often as it asks for.
class Watchdog {
public:
    Watchdog() {
        if (const auto time = watchdogTime()) {
            interval = *time / 2;
            next = Clock::now();
        }
    }

    std::optional<Clock::time_point> nextTime() const {
        return interval.count() > 0 ? std::optional(next) : std::nullopt;
    }
    void tell(const NotifySocket& socket) {
        if (interval.count() == 0 || Clock::now() < next)
            return;
        socket.send("WATCHDOG=1");
        next = Clock::now() + interval;
    }

private:
    std::chrono::microseconds interval{0};
    Clock::time_point next{};
};

/// One run of a service.
class Dispatcher {
public:
    Dispatcher(const norq_std::WString& serviceName, ServiceMain serviceMain)
        : name(serviceName)
        , main(serviceMain) {}

    bool valid() const { return signals.valid(); }
    void run();

    const norq_std::WString& serviceName() const { return name; }
    void setHandler(ServiceControlHandler newHandler, void* newContext);
    void openControls();
    void report(const ServiceStatus& status);

private:
    void serve();
    void runMain();
    void endMain() noexcept;
    void wait(std::vector<pollfd>& descriptors);
    void watchSessions();
    void deliver(std::uint32_t control, std::uint32_t eventType = 0, void* eventData = nullptr);
    void deliverControls();
    void deliverSessionChanges();

    const norq_std::WString name;
    const ServiceMain main;
    ControlSignals signals;
    const NotifySocket socket;
    Watchdog watchdog;
    std::unique_ptr<SessionMonitor> sessions;
    bool sessionsTried = false;
    std::deque<std::uint32_t> controls;

    std::atomic<bool> open{false};
    std::atomic<bool> ended{false};
    std::atomic<bool> wantsSessions{false};
    std::exception_ptr failure; // of the main's thread, until it has ended

    std::mutex mutex; // guards the rest
    ServiceControlHandler handler = nullptr;
    void* context = nullptr;
    bool readySent = false;
    bool stoppingSent = false;
};

void Dispatcher::run() {
    std::thread thread([this] { runMain(); });
    struct Joined { // also where something leaves the loop: then the service is told to stop
        ~Joined() {
            dispatcher.deliver(norq_std::SERVICE_CONTROL_STOP);
            thread.join();
            dispatcher.signals.giveBack();
        }
        Dispatcher& dispatcher;
        std::thread& thread;
    };
    {
        const Joined joined{*this, thread};
        serve();
    }
    if (failure)
        std::rethrow_exception(failure);
}

void Dispatcher::serve() {
    std::vector<pollfd> descriptors;
    while (!ended) {
        watchdog.tell(socket);
        watchSessions();
        wait(descriptors);
        signals.take(controls);
        if (open) {
            deliverControls();
            deliverSessionChanges();
        }
    }
}

void Dispatcher::runMain() {
    try {
        norq_std::WString argument = name;
        char16_t* arguments[] = {argument.data(), nullptr};
        main(1, static_cast<char16_t**>(arguments));
    } catch (abi::__forced_unwind&) {
        endMain();
        throw;
    } catch (...) {
        failure = std::current_exception();
    }
    endMain();
}

void Dispatcher::endMain() noexcept {
    ended = true;
    signals.wake();
}

void Dispatcher::setHandler(ServiceControlHandler newHandler, void* newContext) {
    const std::lock_guard guard(mutex);
    handler = newHandler;
    context = newContext;
}

void Dispatcher::openControls() {
    open = true;
    signals.wake();
}

void Dispatcher::report(const ServiceStatus& status) {
    std::string text = "STATUS=";
    text += stateText(status.currentState);
    const bool ends =
        status.currentState == norq_std::SERVICE_STOP_PENDING || status.currentState == norq_std::SERVICE_STOPPED;
    const bool stopped = status.currentState == norq_std::SERVICE_STOPPED;
    {
        const std::lock_guard guard(mutex);
        if (status.currentState == norq_std::SERVICE_RUNNING && !std::exchange(readySent, true))
            text += "\nREADY=1\nMAINPID=" + std::to_string(::getpid());
        if (ends && !std::exchange(stoppingSent, true))
            text += "\nSTOPPING=1";
        if (stopped && status.win32ExitCode != 0) {
            const int native = nativeError(static_cast<std::int32_t>(status.win32ExitCode));
            text += "\nERRNO=" + std::to_string(native != 0 ? native : EIO);
        }
        if (!stopped && status.waitHint != 0)
            text += "\nEXTEND_TIMEOUT_USEC=" + std::to_string(std::uint64_t{status.waitHint} * 1000);
        socket.send(text);
    }
    if (!ends && (status.controlsAccepted & norq_std::SERVICE_ACCEPT_SESSIONCHANGE) != 0 &&
        !wantsSessions.exchange(true))
        signals.wake();
}

void Dispatcher::wait(std::vector<pollfd>& descriptors) {
    descriptors.assign(1, pollfd{signals.descriptor(), POLLIN, 0});
    std::optional<Clock::time_point> until = watchdog.nextTime();
    if (sessions && open) {
        sessions->appendDescriptors(descriptors);
        if (const auto limit = sessions->waitLimit())
            until = std::min(until.value_or(Clock::time_point::max()), Clock::now() + *limit);
    }
    std::chrono::milliseconds time{-1};
    if (until)
        time =
            std::max(std::chrono::milliseconds(0), std::chrono::ceil<std::chrono::milliseconds>(*until - Clock::now()));
    ::poll(descriptors.data(), descriptors.size(), static_cast<int>(time.count()));
}

void Dispatcher::watchSessions() {
    if (!wantsSessions || std::exchange(sessionsTried, true))
        return;
    sessions = SessionMonitor::open();
}

void Dispatcher::deliver(std::uint32_t control, std::uint32_t eventType, void* eventData) {
    ServiceControlHandler called = nullptr;
    void* its = nullptr;
    {
        const std::lock_guard guard(mutex);
        called = handler;
        its = context;
    }
    if (called == nullptr || ended)
        return;
    [&]() noexcept { called(control, eventType, eventData, its); }();
}

void Dispatcher::deliverControls() {
    for (; !controls.empty(); controls.pop_front()) {
        const bool reload = controls.front() == norq_std::SERVICE_CONTROL_PARAMCHANGE;
        if (reload)
            socket.send("RELOADING=1\nMONOTONIC_USEC=" + monotonicMicroseconds());
        deliver(controls.front());
        if (reload)
            socket.send("READY=1");
        watchdog.tell(socket);
    }
}

void Dispatcher::deliverSessionChanges() {
    if (!sessions)
        return;
    for (const SessionChange& change : sessions->changes()) {
        norq_std::SessionNotification notification;
        notification.sessionId = change.session;
        deliver(norq_std::SERVICE_CONTROL_SESSIONCHANGE, change.event, &notification);
    }
}

/// The run that is under way, kept alive by whoever reports to it meanwhile.
class Current {
public:
    static std::shared_ptr<Dispatcher> get() {
        const std::lock_guard guard(mutex());
        return pointer();
    }
    static std::shared_ptr<Dispatcher> get(ServiceHandle handle) {
        std::shared_ptr<Dispatcher> current = get();
        return current && current.get() == handle ? current : nullptr;
    }

    static bool set(const norq_std::WString& name, ServiceMain main) {
        const std::lock_guard guard(mutex());
        if (pointer() != nullptr) {
            setLastError(ServiceAlreadyRunning);
            return false;
        }
        auto made = std::make_shared<Dispatcher>(name, main);
        if (!made->valid()) {
            setLastError(TooManyOpenFiles);
            return false;
        }
        pointer() = std::move(made);
        return true;
    }
    static void reset() {
        std::shared_ptr<Dispatcher> last;
        const std::lock_guard guard(mutex());
        last.swap(pointer());
    }

private:
    static std::mutex& mutex() {
        static std::mutex& instance = *new std::mutex;
        return instance;
    }
    static std::shared_ptr<Dispatcher>& pointer() {
        static std::shared_ptr<Dispatcher>& instance = *new std::shared_ptr<Dispatcher>;
        return instance;
    }
};

bool fails(std::int32_t error) {
    setLastError(error);
    return false;
}

} // namespace

bool runServiceDispatcher(const norq_std::WString& name, ServiceMain main) {
    if (name.empty() || main == nullptr)
        return fails(InvalidData);
    if (Current::get() != nullptr)
        return fails(ServiceAlreadyRunning);
    if (!startedAsService())
        return fails(NotRunAsService);
    if (!Current::set(name, main))
        return false;
    struct End {
        ~End() { Current::reset(); }
    } const end;
    Current::get()->run();
    return true;
}

ServiceHandle registerServiceHandler(const norq_std::WString& name, ServiceControlHandler handler, void* context) {
    if (name.empty()) {
        setLastError(InvalidName);
        return nullptr;
    }
    const std::shared_ptr<Dispatcher> current = Current::get();
    if (current == nullptr || current->serviceName() != name) {
        setLastError(ServiceNotFound);
        return nullptr;
    }
    current->setHandler(handler, context);
    return current.get();
}

void openServiceControls(ServiceHandle handle) {
    if (const auto current = Current::get(handle))
        current->openControls();
}

bool reportServiceStatus(ServiceHandle handle, const ServiceStatus& status) {
    const auto current = Current::get(handle);
    if (current == nullptr)
        return fails(InvalidHandle);
    if (stateText(status.currentState) == nullptr)
        return fails(InvalidData);
    current->report(status);
    return true;
}

} // namespace norq_std_internal::platform

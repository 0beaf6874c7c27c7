#include "RunUnderManager.h"

#include "windows/NTServiceController.h"

#include "concurrency/Concurrency.h"
#include "exception/NorqException.h"
#include "platform/ServiceControl.h"
#include "service/AbstractService.h"
#include "support/Actor.h"
#include "support/DebugCapture.h"
#include "support/NothingLeft.h"

#include <functional>
#include <future>
#include <mutex>

using namespace norq_std;
using namespace norqstd_test;

namespace {

class RecordedService : public AbstractService {
public:
    WString getServiceName() override { return u"recorded"; }
    void onStart() override { atStart(); }
    void onStop() override {
        record(u"stop");
        stopEvent.signal();
        atStop();
    }
    void onSessionConsoleConnect(const WString& u, const WString& d, std::uint32_t n) override { told(1, u, d, n); }
    void onSessionConsoleDisconnect(const WString& u, const WString& d, std::uint32_t n) override { told(2, u, d, n); }
    void onSessionRemoteConnect(const WString& u, const WString& d, std::uint32_t n) override { told(3, u, d, n); }
    void onSessionRemoteDisconnect(const WString& u, const WString& d, std::uint32_t n) override { told(4, u, d, n); }
    void onSessionLogon(const WString& u, const WString& d, std::uint32_t n) override { told(5, u, d, n); }
    void onSessionLogoff(const WString& u, const WString& d, std::uint32_t n) override { told(6, u, d, n); }
    void onSessionLock(const WString& u, const WString& d, std::uint32_t n) override { told(7, u, d, n); }
    void onSessionUnlock(const WString& u, const WString& d, std::uint32_t n) override { told(8, u, d, n); }
    void run() override { Concurrency::waitForSingleObject(stopEvent, -1); }

    std::function<void()> atStart = [] {};
    std::function<void()> atStop = [] {};

    std::vector<WString> taken() {
        const std::lock_guard guard(mutex);
        return std::exchange(calls, {});
    }

private:
    void record(const WString& call) {
        const std::lock_guard guard(mutex);
        calls.push_back(call);
    }
    void told(int event, const WString& user, const WString& domain, std::uint32_t session) {
        record(u"session " + WString(1, static_cast<WChar>(u'0' + event)) + user + domain +
               (session == 77 ? u" 77" : u" ?"));
    }

    std::mutex mutex;
    std::vector<WString> calls;
};

/// The thread of signals and the pipe of controls stay for the life of the process: they are there before anything is
/// counted.
struct SignalsServed {
    SignalsServed() {
        static const RecordedService first;
        setenv("INVOCATION_ID", "any", 1);
        EXPECT_TRUE(norq_std_internal::platform::runServiceDispatcher(u"first", [](std::uint32_t, WChar**) {}));
        unsetenv("INVOCATION_ID");
    }
};

class NTServiceControllerTest : SignalsServed, public NothingLeft {
protected:
    void TearDown() override {
        unsetenv("NOTIFY_SOCKET");
        NothingLeft::TearDown();
    }
    std::string socketPath() { return (folder() / "notify").string(); }
};

/// A controller whose service runs in this process.
class Running {
public:
    explicit Running(const std::string& socket)
        : listener(socket) {
        setenv("NOTIFY_SOCKET", socket.c_str(), 1);
    }
    void start() {
        ended = std::async(std::launch::async, [this] { controller.start(); });
    }
    /// The states in order, as they are told.
    std::string states(std::size_t count) {
        std::string all;
        for (std::size_t i = 0; i < count; ++i) {
            const std::string message = listener.next();
            all += message.substr(0, message.find('\n')).substr(std::string("STATUS=").size()) + " ";
        }
        return all;
    }

    NotifyListener listener;
    RecordedService service;
    NTServiceController controller{&service};
    std::future<void> ended;
};

void control(std::uint32_t code, std::uint32_t eventType = 0, void* eventData = nullptr) {
    NTServiceController::handleServiceEventEx(code, eventType, eventData, nullptr);
}

struct ControlRow {
    std::uint32_t code;
    std::vector<const WChar*> lines; // in the log, in order
    std::string states;
};

TEST_F(NTServiceControllerTest, EachControlDoesWhatItsRowSays) {
    const ControlRow rows[] = {
        {2, {u"received a pause message", u"is paused"}, "Pausing Paused "},
        {3, {u"received a continue message"}, "Continuing Running "},
        {4, {u"received an interrogate message"}, ""},
        {6, {u"received a user control message", u"Invalid service control code."}, ""},
        {200, {u"received a user control message", u"Invalid service control code."}, ""},
        {1, {u"received a stop message", u"Stopping"}, "Stopping "},
        {1, {u"received a stop message", u"End. Already stopped or is stopping."}, ""},
        {5, {u"received a shutdown message", u"End. Already stopped or is stopping."}, ""},
    };
    Running run(socketPath());
    {
        const DebugCapture log;
        run.start();
        EXPECT_EQ("Starting Running ", run.states(2));
        ASSERT_TRUE(eventually([&] { return log.count(u"service has started") == 1; })); // and can be stopped
    }
    for (const ControlRow& row : rows) {
        const DebugCapture log(TRACE);
        control(row.code);
        EXPECT_EQ(row.states, run.states(static_cast<std::size_t>(std::ranges::count(row.states, ' ')))) << row.code;
        EXPECT_EQ(1u, log.count(u"Begin.  Control Code:["));
        for (const WChar* const line : row.lines)
            EXPECT_LE(1u, log.count(line == WString(u"Stopping") ? u"SERVICE_STOP_PENDING" : line)) << row.code;
    }
    EXPECT_EQ("Stopped ", run.states(1));
    run.ended.get();
    EXPECT_EQ(std::vector<WString>{u"stop"}, run.service.taken());
}

TEST_F(NTServiceControllerTest, SessionEventsReachTheirOperationWithoutNamesWhereNoneIsKnown) {
    RecordedService service;
    const NTServiceController controller(&service);
    SessionNotification session;
    session.sessionId = 77;
    const DebugCapture log(TRACE);
    for (std::uint32_t event = 1; event <= 9; ++event)
        control(14, event, &session);
    const std::vector<WString> calls = service.taken();
    ASSERT_EQ(8u, calls.size());
    for (std::size_t i = 0; i < calls.size(); ++i)
        EXPECT_EQ(u"session " + WString(1, static_cast<WChar>(u'1' + i)) + u" 77", calls[i]);
    EXPECT_EQ(9u, log.count(u"WTSQuerySessionInformation for WTSUserName failed with error "));
    EXPECT_EQ(9u, log.count(u"WTSQuerySessionInformation for WTSDomainName failed with error "));
    EXPECT_EQ(1u, log.count(u"OTHER SESSION STATE"));
    EXPECT_EQ(9u, log.count(u"received a user control message"));
}

TEST_F(NTServiceControllerTest, AStopWithoutStatusTellsTheManagerNothing) {
    Running run(socketPath());
    run.start();
    EXPECT_EQ("Starting Running ", run.states(2));
    while (run.ended.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
        run.controller.stop(false);
    run.ended.get();
    EXPECT_EQ("", run.listener.next(std::chrono::milliseconds(0)));
    EXPECT_EQ(std::vector<WString>{u"stop"}, run.service.taken());

    run.start(); // and once more
    EXPECT_EQ("Starting Running ", run.states(2));
    while (run.ended.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
        control(5); // a shutdown tells of the stop in any case
    EXPECT_EQ("Stopping ", run.states(1));
}

TEST_F(NTServiceControllerTest, AStopWhileTheServiceStartsIsAnsweredWithNothing) {
    Running run(socketPath());
    run.service.atStart = [&] {
        const DebugCapture log(TRACE);
        run.controller.stop(true);
        EXPECT_EQ(1u, log.count(u"End. Already stopped or is stopping."));
        raise(SIGTERM); // of the manager: kept
    };
    run.start();
    run.ended.get();
    EXPECT_EQ("Starting Running Stopping Stopped ", run.states(4));
    EXPECT_EQ(std::vector<WString>{u"stop"}, run.service.taken());
}

TEST_F(NTServiceControllerTest, AStopOfAForkedCopyStopsTheCopyAlone) {
    Running run(socketPath());
    run.start();
    EXPECT_EQ("Starting Running ", run.states(2));
    const pid_t copy = fork();
    if (copy == 0) {
        alarm(static_cast<unsigned>(longLimitMillis() / 1000)); // nothing is left if it lives on
        for (;;)
            pause();
    }
    EXPECT_EQ(0, kill(copy, SIGTERM));
    int status = 0;
    EXPECT_EQ(copy, waitpid(copy, &status, 0));
    EXPECT_EQ(SIGTERM, WIFSIGNALED(status) ? WTERMSIG(status) : 0);
    EXPECT_EQ("", run.listener.next(std::chrono::milliseconds(0)));
    EXPECT_EQ(0, kill(getpid(), SIGTERM));
    run.ended.get();
}

TEST_F(NTServiceControllerTest, FailuresOfTheStartReachTheCallerAndTheManager) {
    Running run(socketPath());
    run.service.atStart = [] { throw NorqRuntimeException(u"no start", 5); };
    run.start();
    EXPECT_THROW(run.ended.get(), NorqRuntimeException);
    EXPECT_EQ("STATUS=Starting", run.listener.next());
    EXPECT_EQ("STATUS=Stopped\nSTOPPING=1\nERRNO=13", run.listener.next());
}

TEST_F(NTServiceControllerTest, RefusalsOfTheManager) {
    const auto refusal = [](NTServiceController& controller) {
        try {
            controller.start();
        } catch (const NorqIOException& refused) {
            return refused.getErrNum();
        }
        return 0;
    };
    unsetenv("INVOCATION_ID");
    RecordedService service;
    NTServiceController alone(&service);
    EXPECT_EQ(1063, refusal(alone));
    EXPECT_THROW(NTServiceController(nullptr), NorqIllegalArgumentException);

    Running run(socketPath());
    run.service.atStart = [&] { EXPECT_EQ(1056, refusal(run.controller)); };
    run.start();
    EXPECT_EQ("Starting Running ", run.states(2));
    EXPECT_EQ(0, kill(getpid(), SIGTERM));
    run.ended.get();
}

TEST(ServiceNames, EveryStateAndControlHasItsName) {
    const std::vector<WString> states{u"Unknown Service State", u"SERVICE_STOPPED", u"SERVICE_START_PENDING",
                                      u"SERVICE_STOP_PENDING",  u"SERVICE_RUNNING", u"SERVICE_CONTINUE_PENDING",
                                      u"SERVICE_PAUSE_PENDING", u"SERVICE_PAUSED",  u"Unknown Service State"};
    for (std::uint32_t i = 0; i < states.size(); ++i)
        EXPECT_EQ(states[i], NTServiceController::serviceStatusToString(i));
    EXPECT_EQ(u"Unknown Service Control Code", NTServiceController::controlCodeToString(0));
    EXPECT_EQ(u"SERVICE_CONTROL_PARAMCHANGE", NTServiceController::controlCodeToString(6));
    EXPECT_EQ(u"SERVICE_CONTROL_SESSIONCHANGE", NTServiceController::controlCodeToString(14));
    EXPECT_EQ(u"Unknown Service Control Code", NTServiceController::controlCodeToString(15));
}

// ---- in a process of its own

class ManagedProcessTest : public NothingLeft, public ::testing::WithParamInterface<const char*> {};

TEST_P(ManagedProcessTest, TellsItsStatesAndTakesSignalsAsControls) {
    const std::string socket = GetParam() + folder().string().substr(1) + (*GetParam() == '/' ? "/notify" : "");
    NotifyListener listener(socket);
    RunningSample sample(folder(), {{"NOTIFY_SOCKET", socket}});
    EXPECT_EQ("onStart", sample.line());
    EXPECT_EQ("STATUS=Starting", listener.next());
    EXPECT_EQ("STATUS=Running\nREADY=1\nMAINPID=" + std::to_string(sample.id()), listener.next());
    sample.signal(SIGRTMIN + 2);
    EXPECT_EQ("STATUS=Pausing", listener.next());
    EXPECT_EQ("STATUS=Paused", listener.next());
    sample.signal(SIGRTMIN + 3);
    EXPECT_EQ("STATUS=Continuing", listener.next());
    EXPECT_EQ("STATUS=Running", listener.next());
    sample.signal(SIGHUP);
    EXPECT_TRUE(listener.next().starts_with("RELOADING=1\nMONOTONIC_USEC="));
    EXPECT_EQ("READY=1", listener.next());
    const auto userControls = [&sample] {
        const std::string log = sample.log();
        int count = 0;
        for (std::size_t at = 0; (at = log.find("user control message", at)) != std::string::npos; ++at)
            ++count;
        return count;
    };
    sample.signal(SIGRTMIN + 1, 300); // no control
    sample.signal(SIGRTMIN + 1);      // without a value
    sample.signal(SIGRTMIN + 1, 200);
    EXPECT_TRUE(eventually([&] { return userControls() == 2; })); // the reload and 200, which a stop could overtake
    sample.signal(SIGTERM);
    EXPECT_EQ("STATUS=Stopping\nSTOPPING=1", listener.next());
    EXPECT_EQ("STATUS=Stopped", listener.next());
    EXPECT_EQ("onStop", sample.line());
    EXPECT_EQ(0, sample.end());
    EXPECT_EQ(2, userControls()) << sample.log();
}
INSTANTIATE_TEST_SUITE_P(Sockets, ManagedProcessTest, ::testing::Values("/", "@"));

TEST_F(NTServiceControllerTest, WatchdogIsKeptAliveForThisProcessAlone) {
    NotifyListener listener(socketPath());
    {
        RunningSample sample(folder(), {{"NOTIFY_SOCKET", listener.name}, {"WATCHDOG_USEC", "20000"}});
        for (int alive = 0; alive < 5;)
            alive += listener.next() == "WATCHDOG=1" ? 1 : 0;
    }
    while (!listener.next(std::chrono::milliseconds(0)).empty()) {
    }
    RunningSample sample(folder(),
                         {{"NOTIFY_SOCKET", listener.name}, {"WATCHDOG_USEC", "20000"}, {"WATCHDOG_PID", "1"}});
    EXPECT_EQ("STATUS=Starting", listener.next());
    EXPECT_TRUE(listener.next().starts_with("STATUS=Running"));
    EXPECT_EQ("", listener.next(std::chrono::milliseconds(100)));
}

TEST_F(NTServiceControllerTest, FailuresEndTheProcessAndAreTold) {
    NotifyListener listener(socketPath());
    {
        RunningSample sample(folder(), {{"NOTIFY_SOCKET", listener.name}, {"SAMPLE", "start"}});
        EXPECT_EQ(2, sample.end());
        EXPECT_EQ("STATUS=Starting", listener.next());
        EXPECT_EQ("STATUS=Stopped\nSTOPPING=1\nERRNO=13", listener.next());
    }
    {
        RunningSample sample(folder(), {{"NOTIFY_SOCKET", listener.name}, {"SAMPLE", "stops itself"}});
        EXPECT_EQ(4, sample.end()); // what onStop throws reaches the caller of stop
        EXPECT_EQ("STATUS=Starting", listener.next());
        EXPECT_TRUE(listener.next().starts_with("STATUS=Running"));
        EXPECT_EQ("STATUS=Stopping\nSTOPPING=1", listener.next());
    }
}

TEST_F(NTServiceControllerTest, AStopThatFailsIsTold) {
    NotifyListener listener(socketPath());
    RunningSample sample(folder(), {{"NOTIFY_SOCKET", listener.name}, {"SAMPLE", "stop"}});
    EXPECT_EQ("STATUS=Starting", listener.next());
    EXPECT_TRUE(listener.next().starts_with("STATUS=Running"));
    sample.signal(SIGTERM);
    EXPECT_EQ("STATUS=Stopping\nSTOPPING=1", listener.next());
    EXPECT_EQ("STATUS=Stopped\nERRNO=13", listener.next());
    EXPECT_EQ(0, sample.end());
    EXPECT_NE(std::string::npos, sample.log().find("The service controller threw an exception: no stop"));
}

TEST_F(NTServiceControllerTest, AProgramStartedByHandIsTold) {
    RunningSample sample(folder(), {});
    EXPECT_EQ(0, sample.end());
    EXPECT_NE(std::string::npos, sample.log().find("The service is not being run as a service"));
}

} // namespace

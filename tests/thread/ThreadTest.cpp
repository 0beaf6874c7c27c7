#include "thread/Thread.h"

#include "concurrency/AtomicInteger.h"
#include "concurrency/Concurrency.h"
#include "concurrency/Event.h"
#include "exception/NorqException.h"
#include "internal/ThreadIdMap.h"
#include "support/Actor.h"
#include "support/DebugCapture.h"
#include "support/NothingLeft.h"
#include "thread/AbstractNotificationThread.h"
#include "thread/DefaultThreadFactory.h"
#include "thread/Executors.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace norq_std;
using namespace norqstd_test;

namespace {

class Task : public Runnable {
public:
    explicit Task(std::function<void()> function)
        : body(std::move(function)) {}
    void run() override { body(); }

private:
    std::function<void()> body;
};

std::shared_ptr<Runnable> task(std::function<void()> body) { return std::make_shared<Task>(std::move(body)); }

bool awaitEvent(Event& event) { return Concurrency::waitForSingleObject(event, longLimitMillis()) == 0; }

template <class Exception>
void expectThrown(const std::function<void()>& call, const WString& message, int errNum = 0) {
    try {
        call();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const Exception& e) {
        EXPECT_EQ(e.getMessage(), message);
        EXPECT_EQ(e.getErrNum(), errNum);
    }
}

class ThreadTest : public NothingLeft {};
class NotificationThreadTest : public NothingLeft {};

TEST_F(ThreadTest, WithoutARunIsSignaledAndRefusesWhatNeedsOne) {
    Thread thread(u"idle");
    EXPECT_EQ(thread.getState(), THREAD_NOT_STARTED);
    EXPECT_TRUE(thread.join(-1));
    EXPECT_EQ(thread.waitForStart(0), -1);
    EXPECT_EQ(thread.getId(), 0xFFFFFFFFU);
    EXPECT_EQ(thread.toString(), u"Thread{name='idle'}");
    EXPECT_FALSE(thread.isJoinOnDestruct());
    expectThrown<NorqIllegalStateException>([&] { thread.cancel(); }, u"The current thread is not running!");
    expectThrown<NorqIllegalStateException>([&] { thread.getPriority(); }, u"The current thread is not running.");
    expectThrown<NorqIllegalStateException>([&] { thread.setPriority(NORMAL_PRIORITY); },
                                            u"The current thread is not running.");
    Thread::sleep(-5);
}

TEST_F(ThreadTest, RunsAgainAfterItsEnd) {
    Event go(true, false);
    std::uint64_t idInside = 0;
    int runs = 0;
    Thread thread(task([&] {
                      idInside = Thread::getCurrentThreadId();
                      ++runs;
                      awaitEvent(go);
                  }),
                  u"again");
    EXPECT_TRUE(thread.isJoinOnDestruct());
    for (int round = 1; round <= 3; ++round) {
        thread.start();
        EXPECT_EQ(thread.waitForStart(longLimitMillis()), 0);
        EXPECT_FALSE(thread.join(0));
        EXPECT_EQ(thread.getState(), THREAD_RUNNING);
        expectThrown<NorqIllegalStateException>([&] { thread.start(); }, u"The current thread is already running!");
        const std::uint64_t id = thread.getId();
        for (const ThreadPriority priority : {LOWEST_PRIORITY, NORMAL_PRIORITY, HIGHEST_PRIORITY})
            thread.setPriority(priority);
        EXPECT_EQ(thread.getPriority(), HIGHEST_PRIORITY);
        go.signal();
        ASSERT_TRUE(thread.join(longLimitMillis()));
        EXPECT_EQ(thread.getState(), THREAD_ENDED);
        EXPECT_EQ(id, idInside);
        EXPECT_EQ(thread.getId(), 0xFFFFFFFFU);
        EXPECT_EQ(runs, round);
    }
}

TEST_F(ThreadTest, FailureOfTheBodyIsLoggedAndEndsThatThreadAlone) {
    struct Case {
        std::function<void()> body;
        WString logged;
        WString reason;
    };
    const Case cases[] = {
        {[] { throw NorqIOException(u"disk is gone"); }, u"Caught exception disk is gone in <", u"disk is gone"},
        {[] { throw std::runtime_error("narrow"); }, u"<narrow>", u"Caught std::exception."},
        {[] { throw 42; }, u"Caught unexpected exception in <", u"Caught unknown exception."},
#if !defined(__SANITIZE_THREAD__) // which loses its record of calls when a handler throws
        {[] { static_cast<void>(*static_cast<volatile int*>(nullptr)); }, u"Caught exception ", u""},
#endif
    };
    for (const Case& each : cases) {
        const DebugCapture capture;
        Thread thread(task(each.body), u"failing");
        thread.start();
        ASSERT_TRUE(thread.join(longLimitMillis()));
        EXPECT_EQ(thread.getState(), THREAD_ENDED);
        EXPECT_GE(capture.count(each.logged), 1U);
        EXPECT_GE(capture.count(u":failing] terminated unexpectedly. Reason: " + each.reason), 1U);
    }
}

class Subclass : public Thread {
public:
    using Thread::Thread;
    void run() override { hasRun = true; }

    std::atomic<bool> hasRun{false};
};

// A fault for the thread sanitizer to see: the end of the thread looks at a subclass that is being destroyed.
TEST_F(ThreadTest, SubclassMayGoAsSoonAsItsBodyHasRun) {
    for (std::size_t round = 0; round < rounds(300); ++round) {
        Subclass thread(u"short");
        thread.start();
        ASSERT_TRUE(eventually([&] { return thread.hasRun.load(); }));
    }
}

TEST_F(ThreadTest, RefusedStackSizeLeavesTheStateAsItWas) {
    Thread thread(task([] {}), u"stack");
    Thread::defaultStackSize = 1;
    expectThrown<NorqIllegalStateException>([&] { thread.start(); }, u"Invalid stack size specified.", EINVAL);
    EXPECT_EQ(thread.getState(), THREAD_NOT_STARTED);
    EXPECT_TRUE(thread.join(0));
    Thread::defaultStackSize = 1 << 20;
    thread.start();
    EXPECT_TRUE(thread.join(longLimitMillis()));
    Thread::defaultStackSize = 0;
}

TEST_F(ThreadTest, NameReachesTheKernelCutAtACharacter) {
    struct Case {
        WString name;
        std::string shown;
    };
    const Case cases[] = {
        {u"short", "short"},
        {u"exactly15units!", "exactly15units!"},
        {u"sixteen units ok", "sixteen units o"},
        {u"aaaaaaaaaaaaaa\u00e9", "aaaaaaaaaaaaaa"},
        {u"aaaaaaaaaaaaa\u00e9", "aaaaaaaaaaaaa\u00e9"},
        {u"\u20ac\u20ac\u20ac\u20ac\u20ac\u20ac", "\u20ac\u20ac\u20ac\u20ac\u20ac"},
        {u"aaaaaaaaaaaa\U0001F600", "aaaaaaaaaaaa"},
        {WString(u"x") + WChar(0xD800) + u"y", "x\uFFFDy"},
    };
    for (const Case& each : cases) {
        std::string shown;
        Thread thread(task([&] {
                          std::ifstream file("/proc/thread-self/comm");
                          std::getline(file, shown);
                      }),
                      each.name);
        thread.start();
        ASSERT_TRUE(thread.join(longLimitMillis()));
        EXPECT_EQ(shown, each.shown);
    }
}

TEST_F(ThreadTest, ObjectMayGoBeforeItsBody) {
    const auto runs = std::make_shared<AtomicInteger>();
    const auto go = std::make_shared<Event>(false, false);
    const auto count = static_cast<std::int32_t>(rounds(1000));
    for (std::int32_t round = 0; round < count; ++round) {
        Thread thread(task([=] {
                          if (round % 2 == 0)
                              awaitEvent(*go);
                          runs->incrementAndGet();
                      }),
                      u"orphan");
        thread.setJoinOnDestruct(false);
        thread.start();
        if (round % 10 == 9)
            go->signal();
        if (round % 20 == 19)
            go->reset();
    }
    go->signal();
    EXPECT_TRUE(eventually([&] { return runs->get() == count; }));
}

TEST_F(ThreadTest, BodyMayDestroyItsOwnThread) {
    Event destroyed(false, false);
    std::unique_ptr<Thread> thread;
    const auto body = task([&] {
        thread.reset();
        destroyed.signal();
    });
    thread = std::make_unique<Thread>(body, u"self");
    Thread& started = *thread;
    started.start();
    EXPECT_TRUE(awaitEvent(destroyed));
    EXPECT_EQ(thread, nullptr);
}

TEST_F(ThreadTest, BodyThatExitsByItselfHasEnded) {
    Thread thread(task([] { pthread_exit(nullptr); }), u"exit");
    thread.start();
    EXPECT_TRUE(thread.join(longLimitMillis()));
    EXPECT_EQ(thread.getState(), THREAD_ENDED);
}

TEST_F(ThreadTest, IdsSurviveClearingAndAreNewInAChild) {
    const std::uint64_t id = Thread::getCurrentThreadId();
    EXPECT_EQ(id, static_cast<std::uint64_t>(gettid()));
    auto& map = norq_std_internal::ThreadIdMap::getInstance();
    Actor other;
    pthread_t handle{};
    other.act([&] { handle = pthread_self(), Thread::getCurrentThreadId(); });
    EXPECT_NE(map.getId(handle), 0xFFFFFFFFU);
    EXPECT_EQ(map.getId(pthread_t{}), 0xFFFFFFFFU);
    clearThreadIdMap();
    EXPECT_EQ(map.getId(handle), 0xFFFFFFFFU);
    EXPECT_EQ(Thread::getCurrentThreadId(), id);
    EXPECT_EQ(map.getId(pthread_self()), id);

    const pid_t child = fork();
    if (child == 0)
        _exit(Thread::getCurrentThreadId() == static_cast<std::uint64_t>(getpid()) &&
                      map.getId(pthread_self()) == static_cast<std::uint64_t>(getpid())
                  ? 0
                  : 1);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(ThreadFactoryTest, NumbersPoolsAndThreads) {
    DefaultThreadFactory first(u""), named(u"io"), second(u"");
    const auto body = task([] {});
    const WString name = first.newThread(body)->getName();
    EXPECT_EQ(name.substr(name.rfind(u"-thread-")), u"-thread-0");
    EXPECT_EQ(first.newThread(body)->getName(), name.substr(0, name.size() - 1) + u"1");
    EXPECT_EQ(named.newThread(body)->getName(), u"io-thread-0");
    const auto pool = [](const WString& text) { return std::stoi(std::string(text.begin() + 5, text.end())); };
    EXPECT_EQ(pool(second.newThread(body)->getName()), pool(name) + 1);
    EXPECT_EQ(named.toString(), u"DefaultThreadFactory{namePrefix='io-thread-'}");
    expectThrown<NorqIllegalArgumentException>([&] { named.newThread(nullptr); }, u"Runnable value is NULL.");
}

TEST(ExecutorsTest, CallableRunsTheTask) {
    bool ran = false;
    const auto callable = Executors::callable(task([&] { ran = true; }));
    EXPECT_EQ(callable->toString(), u"Callable{}");
    EXPECT_EQ(callable->call(), nullptr);
    EXPECT_TRUE(ran);
    expectThrown<NorqIllegalArgumentException>([] { Executors::callable(nullptr); }, u"Task value is NULL.");
}

class Worker : public AbstractNotificationThread {
public:
    Worker()
        : AbstractNotificationThread(u"worker") {}
    ~Worker() override {
        shutdown();
        join(-1);
    }

    void run() override {
        begun.signal();
        awaitEvent(goOn);
        while (!isShutdown()) {
            ++sleeps;
            lastSleep = sleepForPeriod(period);
            ++rounds;
            if (period > 0)
                break;
        }
    }

    Event begun{true, false}, goOn{true, false};
    std::atomic<int> sleeps{0}, rounds{0}, lastSleep{99};
    std::atomic<std::int32_t> period{-1};
};

TEST_F(NotificationThreadTest, WakeupsAreKeptAndShutdownIsTakenBackByStart) {
    Worker worker;
    worker.start();
    ASSERT_TRUE(awaitEvent(worker.begun));
    worker.wakeup();
    worker.wakeup(); // during the work: one sleep is ended, not two
    worker.goOn.signal();
    ASSERT_TRUE(eventually([&] { return worker.sleeps == 2; })); // past its look at the shutdown
    EXPECT_EQ(worker.rounds, 1);
    EXPECT_EQ(worker.lastSleep, 0);
    EXPECT_FALSE(worker.join(0));
    worker.shutdown();
    ASSERT_TRUE(worker.join(longLimitMillis()));
    EXPECT_EQ(worker.rounds, 2);
    EXPECT_EQ(worker.toString(), u"AbstractNotificationThread{Thread{name='worker'},isShutdownFlag='true}");

    worker.period = 1;
    worker.goOn.signal();
    worker.start();
    EXPECT_FALSE(worker.isShutdown());
    ASSERT_TRUE(worker.join(longLimitMillis()));
    EXPECT_EQ(worker.lastSleep, -1);
}

TEST_F(NotificationThreadTest, ShutdownBeforeTheSleepEndsIt) {
    Worker worker;
    worker.start();
    worker.shutdown();
    worker.goOn.signal();
    EXPECT_TRUE(worker.join(longLimitMillis()));
}

} // namespace

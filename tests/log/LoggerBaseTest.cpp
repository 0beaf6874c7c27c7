#include "RecordingRoad.h"

#include "exception/NorqException.h"
#include "internal/ReportClock.h"
#include "log/DebugFileFilter.h"
#include "log/LogFileFilter.h"
#include "log/LoggerBase.h"
#include "log/NorqLogLayout.h"
#include "log/OutputDebugAppender.h"
#include "log/VectorLogAppender.h"
#include "platform/DebugOutput.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>

using namespace norq_std;

namespace {

/// Keeps what it is handed, after running the test's own code.
class ProbeAppender : public ILogAppender {
public:
    explicit ProbeAppender(std::function<void()> onEvent = {})
        : ILogAppender(std::make_shared<DebugFileFilter>(), nullptr)
        , action(std::move(onEvent)) {}

    ProbeAppender* newInstance(const Properties&) const override { return new ProbeAppender; }

    std::vector<LogEvent> events;
    std::vector<WString> texts;

protected:
    void localAppend(const LogEvent& event) override {
        if (action)
            action();
        events.push_back(event);
    }
    void localAppend(const WString& text) override { texts.push_back(text); }

private:
    std::function<void()> action;
};

class PropertyFilter : public DebugFileFilter {
public:
    void setProperty(const WString& key, const WString& value) override { seen += key + u"=" + value + u";"; }
    WString seen;
};

/// Returns once the thread waits, which for one that logs means that it has left its statement.
void awaitSleep(long thread) {
    std::string stat;
    do {
        std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
        std::getline(file, stat);
    } while (stat.find(") S ") == stat.npos);
}

class LoggerBaseTest : public testing::Test {
protected:
    void SetUp() override {
        static std::uint64_t start = 1'000'000'000;
        now = start += 1'000'000;
        norq_std_internal::setReportClock([] { return now; });
    }
    void TearDown() override { norq_std_internal::setReportClock(nullptr); }

    static void info(LoggerBase& logger, const WString& message) {
        logger.log(INFO, u"app::f", message, u"app", u"ID1", 77, u"f.cpp", 12);
    }

    static inline std::uint64_t now = 0;
    LoggerBase logger;
};

} // namespace

TEST_F(LoggerBaseTest, carriesEveryFieldToTheAppender) {
    const auto probe = std::make_shared<ProbeAppender>();
    info(logger, u"nobody listens");
    logger.addAppender(probe);
    info(logger, u"hello");
    ASSERT_EQ(probe->events.size(), 1u);
    const LogEvent event = probe->events[0];
    EXPECT_EQ(event.priority, INFO);
    EXPECT_EQ(event.function, u"app::f");
    EXPECT_EQ(event.message, u"hello");
    EXPECT_EQ(event.module, u"app");
    EXPECT_EQ(event.errorId, u"ID1");
    EXPECT_EQ(event.threadId, 77u);
    EXPECT_EQ(event.fileName, u"f.cpp");
    EXPECT_EQ(event.lineNumber, 12u);
}

TEST_F(LoggerBaseTest, holdsEachAppenderOnce) {
    const auto probe = std::make_shared<ProbeAppender>();
    logger.addAppender(probe);
    logger.addAppender(probe);
    info(logger, u"once");
    EXPECT_EQ(probe->events.size(), 1u);
    EXPECT_TRUE(logger.containsAppender(probe));
    try {
        logger.addAppender(nullptr);
        FAIL();
    } catch (const NorqIllegalArgumentException& refused) {
        EXPECT_EQ(refused.getMessage(), u"Appender to add must not be NULL.");
    }
    EXPECT_TRUE(logger.containsAppender(probe));
    logger.removeAppender(probe);
    logger.removeAppender(probe);
    EXPECT_FALSE(logger.containsAppender(probe));
    info(logger, u"gone");
    EXPECT_EQ(probe->events.size(), 1u);
    EXPECT_EQ(probe.use_count(), 1);
}

TEST_F(LoggerBaseTest, aFailingAppenderCostsNobodyElseTheEvent) {
    struct {
        std::function<void()> fail;
        WString text;
    } const failures[] = {
        {[] { throw NorqIOException(u"disk"); }, u"disk"},
        {[] { throw std::runtime_error("f\xc3\xbcnf"); }, u"f\u00fcnf"},
        {[] { throw 5; }, u"Unknown Exception"},
    };
    for (const auto& failure : failures) {
        RecordingRoad road;
        LoggerBase own;
        const auto last = std::make_shared<ProbeAppender>();
        own.addAppender(std::make_shared<ProbeAppender>([] { throw 1; }));
        own.addAppender(std::make_shared<ProbeAppender>(failure.fail));
        own.addAppender(last);
        info(own, u"x");
        info(own, u"y"); // within 30 seconds of the report
        EXPECT_EQ(last->events.size(), 2u);
        ASSERT_EQ(road.events.size(), 1u);
        EXPECT_EQ(road.events[0].errorId, u"STD3012");
        EXPECT_EQ(road.events[0].function, u"LoggerBase::append");
        EXPECT_EQ(road.events[0].message, u"Caught <" + failure.text +
                                              u"> attempting to log a message. Thread: <0x4d>, File: <f.cpp>, "
                                              u"Function: <app::f>, Line: <12>.");
        now += 30001;
    }
}

TEST_F(LoggerBaseTest, theReportOfAFailureReachesTheFailingAppenderOnce) {
    // The logger behind the process-wide log: the report comes back as one more event on the same thread.
    class Loop : public RecordingRoad {
    public:
        explicit Loop(LoggerBase& target)
            : logger(target) {}
        void log(const norq_std_internal::LogRecord& record) override {
            logger.log(record.priority, WString(record.function), WString(record.message), WString(record.module),
                       WString(record.errorId), record.threadId, WString(record.fileName), record.lineNumber);
        }

    private:
        LoggerBase& logger;
    } loop(logger);
    int calls = 0;
    const auto lines = std::make_shared<ProbeAppender>();
    logger.addAppender(std::make_shared<ProbeAppender>([&] {
        ++calls;
        throw NorqIOException(u"full");
    }));
    logger.addAppender(lines);
    info(logger, u"x");
    EXPECT_EQ(calls, 2);
    ASSERT_EQ(lines->events.size(), 2u);
    EXPECT_EQ(lines->events[1].errorId, u"STD3012");
}

TEST_F(LoggerBaseTest, anAppenderMayLogAndTakeItselfOut) {
    std::shared_ptr<ProbeAppender> self;
    bool nested = false;
    const auto last = std::make_shared<ProbeAppender>();
    self = std::make_shared<ProbeAppender>([&] {
        if (!std::exchange(nested, true)) {
            info(logger, u"from inside");
            logger.removeAppender(self);
        }
    });
    logger.addAppender(self);
    logger.addAppender(last);
    info(logger, u"outer");
    ASSERT_EQ(last->events.size(), 2u);
    EXPECT_EQ(last->events[0].message, u"from inside");
    EXPECT_EQ(last->events[1].message, u"outer");
    EXPECT_FALSE(logger.containsAppender(self));
}

TEST_F(LoggerBaseTest, whatAnAppenderLogsDuringAnEventDoesNotBringOtherThreadsIn) {
    std::thread other;
    const auto probe = std::make_shared<ProbeAppender>([&] {
        if (other.joinable())
            return;
        std::atomic<long> id{0};
        other = std::thread([&] {
            id = ::gettid();
            info(logger, u"other");
        });
        while (id == 0)
            std::this_thread::yield();
        awaitSleep(id);
        info(logger, u"from inside");
    });
    logger.addAppender(probe);
    logger.append(LogEvent(INFO));
    other.join();
    ASSERT_EQ(probe->events.size(), 3u);
    EXPECT_EQ(probe->events[0].message, u"from inside");
    EXPECT_EQ(probe->events[2].message, u"other");
}

TEST_F(LoggerBaseTest, asksTheFilterAndUsesTheLayout) {
    const auto probe = std::make_shared<ProbeAppender>();
    logger.addAppender(probe);
    probe->setLayout(std::make_shared<NorqLogLayout>());
    info(logger, u"text");
    ASSERT_EQ(probe->texts.size(), 1u);
    EXPECT_TRUE(probe->texts[0].ends_with(u" INFO ID1 f.cpp[12] text\n"));
    EXPECT_TRUE(probe->events.empty());
    probe->setFilter(nullptr);
    info(logger, u"unfiltered");
    probe->setFilter(std::make_shared<LogFileFilter>());
    logger.append(LogEvent(DEBUG));
    EXPECT_EQ(probe->texts.size(), 1u);

    const auto filter = std::make_shared<PropertyFilter>();
    probe->setProperty(u"dropped", u"x");
    probe->setFilter(filter);
    probe->setLayout(nullptr);
    probe->setProperty(u"k", u"v");
    EXPECT_EQ(filter->seen, u"k=v;");
}

TEST_F(LoggerBaseTest, aCancelledThreadUnwindsThroughTheLogger) {
    bool unwound = false;
    struct Guard {
        bool& flag;
        ~Guard() { flag = true; }
    };
    logger.addAppender(std::make_shared<ProbeAppender>([&] {
        const Guard guard{unwound};
        pthread_cancel(pthread_self());
        pthread_testcancel();
    }));
    std::thread([&] { info(logger, u"x"); }).join();
    EXPECT_TRUE(unwound);
    const auto probe = std::make_shared<ProbeAppender>();
    LoggerBase other;
    other.addAppender(probe);
    std::thread([&] { logger.containsAppender(probe); }).join(); // the lock was released on the way out
}

TEST_F(LoggerBaseTest, eventsOfManyThreadsArriveOneAtATimeInOrder) {
    constexpr int THREADS = 8, EVENTS = 500;
    const auto probe = std::make_shared<ProbeAppender>();
    VectorLogAppender lines;
    logger.addAppender(probe);
    logger.addAppender(std::shared_ptr<ILogAppender>(&lines, [](ILogAppender*) {}));
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t)
        threads.emplace_back([this, t, &lines] {
            for (int i = 0; i < EVENTS; ++i) {
                logger.log(INFO, u"app::f", u"m", u"app", {}, static_cast<std::uint64_t>(t), u"f.cpp",
                           static_cast<std::uint32_t>(i));
                if (i % 100 == 0)
                    lines.clear();
            }
        });
    for (auto& thread : threads)
        thread.join();

    ASSERT_EQ(probe->events.size(), std::size_t{THREADS * EVENTS});
    std::vector<std::uint32_t> next(THREADS);
    std::uint64_t last = 0;
    for (const LogEvent& event : probe->events) {
        EXPECT_EQ(event.lineNumber, next[event.threadId]++);
        const auto time = static_cast<std::uint64_t>(event.time.seconds) * 1000 + event.time.milliseconds;
        EXPECT_GE(time, last);
        last = time;
    }
}

TEST(VectorLogAppenderTest, keepsLinesAndJoinsTheProcessWideLog) {
    RecordingRoad road;
    {
        VectorLogAppender lines;
        ASSERT_EQ(road.appenders.size(), 1u);
        EXPECT_EQ(road.appenders[0].get(), &lines);
        LogEvent event(DUMP);
        event.message = u"dumped";
        lines.append(event);
        ASSERT_EQ(lines.getLogStatements().size(), 1u);
        EXPECT_TRUE(lines.getLogStatements()[0].ends_with(u" DUMP dumped\n"));
        lines.setLayout(nullptr);
        lines.append(event);
        EXPECT_EQ(lines.getLogStatements().size(), 1u);
        lines.clear();
        EXPECT_TRUE(lines.getLogStatements().empty());
        EXPECT_EQ(lines.getClassName(), u"norq_std.VectorLogAppender");
    }
    EXPECT_TRUE(road.appenders.empty());
}

TEST(OutputDebugAppenderTest, writesOnceItHasFilterAndLayout) {
    std::vector<WString> written;
    norq_std_internal::platform::setDebugOutputSink([&](std::u16string_view text) { written.emplace_back(text); });
    OutputDebugAppender appender;
    LogEvent event(INFO);
    event.message = u"seen";
    appender.append(event);
    appender.setFilter(std::make_shared<LogFileFilter>());
    appender.append(event);
    EXPECT_TRUE(written.empty());
    appender.setLayout(std::make_shared<NorqLogLayout>());
    appender.append(event);
    norq_std_internal::platform::setDebugOutputSink({});
    ASSERT_EQ(written.size(), 1u);
    EXPECT_TRUE(written[0].ends_with(u" INFO seen\n"));
}

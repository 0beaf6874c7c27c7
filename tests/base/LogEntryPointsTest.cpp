#include "base/ContextLogMessage.h"
#include "base/InternalLog.h"
#include "base/LogFunctionCall.h"
#include "base/LogMacros.h"
#include "base/StaticLog.h"
#include "internal/LogRoad.h"
#include "internal/ThreadIdMap.h"
#include "support/DebugCapture.h"
#include "support/NothingLeft.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <pthread.h>
#include <stdexcept>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace norq_std;
using norqstd_test::DebugCapture;

class LogEntryPointsTest : public norqstd_test::NothingLeft {};

TEST_F(LogEntryPointsTest, PrioritiesAndTheirTextsBelongTogether) {
    for (int p = DUMP; p <= FATAL; ++p) {
        const auto priority = static_cast<LogEventPriority>(p);
        EXPECT_EQ(logEventPriorityFromString(logEventPriorityToString(priority), DUMP), priority);
        EXPECT_EQ(isDebugEventPriority(priority), p <= 3);
    }
    EXPECT_EQ(logEventPriorityToString(static_cast<LogEventPriority>(8)), u"Invalid Priority Specified");
    EXPECT_EQ(logEventPriorityToString(static_cast<LogEventPriority>(-1)), u"Invalid Priority Specified");
    EXPECT_EQ(logEventPriorityFromString(u"debug", WARN), WARN);
}

TEST_F(LogEntryPointsTest, UnconfiguredLogSendsDebugAndAboveToTheDebugger) {
    DebugCapture capture;
    EXPECT_TRUE(StaticLog::isThresholdOn(DEBUG));
    EXPECT_FALSE(StaticLog::isThresholdOn(CALL));
    EXPECT_EQ(StaticLog::getThreshold(), DEBUG);
    StaticLog::log(INFO, u"f", u"plain", u"m", u"", 1, u"File.cpp", 7);
    StaticLog::log(DEBUG, u"f", u"ended\n", u"m", u"", 1, u"File.cpp", 4294967295);
    StaticLog::log(DUMP, u"f", u"", u"m", u"", 1, u"", 0);
    const std::vector<WString> expected = {u"INFO : plain\n", u"File.cpp[4294967295] : ended\n", u"[0] : \n"};
    EXPECT_EQ(capture.lines(), expected);
}

TEST_F(LogEntryPointsTest, MessageThatCannotBeFormattedIsReplacedByTheReason) {
    DebugCapture capture;
    const ContextLogMessage message(u"f", WARN, u"m", u"File.cpp", 3);
    message.log(u"%ls and %d", u"text", 5);
    message.log(nullptr);
    message.log(u"%n", nullptr);
    ContextLogMessage::log(DEBUG, nullptr, nullptr, nullptr, 1, nullptr, 9, u"%hs", "narrow");
    const std::vector<WString> lines = capture.lines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], u"WARN : text and 5\n");
    EXPECT_EQ(lines[1], u"WARN : Format string cannot be null!\n");
    EXPECT_EQ(lines[2].rfind(u"WARN : Unable to format string: %n", 0), 0u);
    EXPECT_EQ(lines[3], u"[9] : narrow\n");
}

TEST_F(LogEntryPointsTest, FunctionCallTestsTheThresholdAtEachStep) {
    DebugCapture capture(CALL);
    {
        LogFunctionCall silent(u"f", u"m", nullptr, 1, TRACE, true);
        silent.print(u"%n", nullptr);
    }
    EXPECT_TRUE(capture.lines().empty());
    { const LogFunctionCall endOnly(u"f", u"m", nullptr, 1, CALL, false); }
    {
        const LogFunctionCall call(u"f", u"m", u"File.cpp", 2, CALL, u"%d of %d", 1, 2);
        call.print(u"%q");
        norq_std_internal::LogRoad::setThreshold(DEBUG);
    }
    norq_std_internal::LogRoad::setThreshold(CALL);
    const std::vector<WString> lines = capture.lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], u"[1] : End.\n");
    EXPECT_EQ(lines[1], u"File.cpp[2] : 1 of 2\n");
    EXPECT_EQ(lines[2].rfind(u"File.cpp[2] : Error formatting message: Unable to format string: %q", 0), 0u);
}

TEST_F(LogEntryPointsTest, MacrosEvaluateNothingBelowTheThreshold) {
    DebugCapture capture;
    int evaluated = 0;
    {
        NORQ_LOG_FUNCTION_CALL(u"f");
        NORQ_LOG(TRACE, u"f", u"%d", ++evaluated);
        NORQ_LOG(DEBUG, u"f", u"%ls %d", WString(u"text"), ++evaluated);
    }
    EXPECT_EQ(evaluated, 1);
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.count(u"LogEntryPointsTest.cpp["), 1u);
    EXPECT_EQ(capture.count(u" : text 1\n"), 1u);

    EXPECT_STREQ("c.cpp", [] {
        static char leaf[16];
        const WChar* from = detail::pathLeaf(u"a/b\\c.cpp");
        std::copy_n(from, 6, leaf);
        return leaf;
    }());
}

TEST_F(LogEntryPointsTest, ChannelsWriteAtTheirOwnPriorityWithoutATest) {
    DebugCapture capture(TRACE);
    EXPECT_TRUE(__internal_debug_on() && __internal_call_on() && __internal_trace_on());
    EXPECT_FALSE(__internal_dump_on());
    __internal_debug(u"f", u"A.cpp", 1, u"%d", 1);
    __internal_call(u"f", u"A.cpp", 2, u"%d", 2);
    __internal_trace(u"f", u"A.cpp", 3, u"%d", 3);
    __internal_dump(u"f", u"A.cpp", 4, u"%d", 4);
    EXPECT_EQ(capture.lines(),
              (std::vector<WString>{u"A.cpp[1] : 1\n", u"A.cpp[2] : 2\n", u"A.cpp[3] : 3\n", u"A.cpp[4] : 4\n"}));
}

/// A road whose every line fails, and which records what it was given.
class FailingRoad final : public norq_std_internal::LogRoad {
public:
    void log(const norq_std_internal::LogRecord& record) override {
        EXPECT_EQ(record.priority, WARN);
        EXPECT_EQ(WString(record.function) + u"," + WString(record.message) + u"," + WString(record.module) + u"," +
                      WString(record.errorId) + u"," + WString(record.fileName),
                  u"ns::f,text 1,Mod,,File.cpp");
        EXPECT_EQ(record.threadId, norq_std_internal::currentThreadId());
        EXPECT_EQ(record.lineNumber, 12u);
        ++lines;
        throw std::runtime_error("road");
    }
    void addAppender(const std::shared_ptr<ILogAppender>&) override { ++appenders; }
    void removeAppender(const std::shared_ptr<ILogAppender>&) override { --appenders; }
    void runHeld(const std::function<void()>& body) override { body(); }

    int lines = 0;
    int appenders = 0;
};

TEST_F(LogEntryPointsTest, ConfiguredRoadTakesTheLinesAndItsFailureReachesNobody) {
    FailingRoad road;
    const DebugCapture capture(WARN);
    StaticLog::addAppender(nullptr);
    norq_std_internal::LogRoad::install(&road);
    StaticLog::addAppender(nullptr);
    const ContextLogMessage message(u"ns::f", WARN, u"Mod", u"File.cpp", 12);
    message.log(u"text %d", 1);
    norq_std_internal::LogRoad::install(nullptr);
    EXPECT_EQ(road.lines, 1);
    EXPECT_EQ(road.appenders, 1);
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(LogEntryPointsTest, CancelledThreadUnwindsThroughALoggingDestructor) {
    DebugCapture capture(CALL);
    pthread_t thread;
    ASSERT_EQ(pthread_create(
                  &thread, nullptr,
                  [](void*) -> void* {
                      NORQ_LOG_FUNCTION_CALL(u"cancelled");
                      pthread_cancel(pthread_self());
                      NORQ_LOG(CALL, u"cancelled", u"logging is no cancellation point");
                      for (;;)
                          pthread_testcancel();
                  },
                  nullptr),
              0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_EQ(capture.lines().size(), 3u);
}

TEST_F(LogEntryPointsTest, NamedChannelAppendsWholeLinesOfUtf8) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // The process of the death test comes by here too, with the name in its environment.
    const char* const inherited = std::getenv("NORQSTD_DEBUG_OUTPUT");
    const std::string file = inherited != nullptr ? inherited : (folder() / "debug").string();
    if (inherited == nullptr) {
        std::ofstream(file) << "before\n";
        ::setenv("NORQSTD_DEBUG_OUTPUT", file.c_str(), 1);
    }
    EXPECT_EXIT(
        {
            std::thread([] { NORQ_LOG(INFO, u"f", u"\u00e9\u20ac %ls", WString(u"\U0001F600\xD800!")); }).join();
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
    ::unsetenv("NORQSTD_DEBUG_OUTPUT");
    std::ifstream in(file);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    EXPECT_EQ(text.rfind("before\n", 0), 0u);
    EXPECT_NE(text.find("INFO : \u00e9\u20ac \U0001F600\uFFFD!\n"), std::string::npos) << text;
}

TEST_F(LogEntryPointsTest, ConsoleLoggingPrintsWhateverTheArgument) {
    EXPECT_EXIT(
        {
            ::dup2(2, 1);
            StaticLog::enableConsoleLogging(false);
            StaticLog::log(ERROR, u"f", u"\u00fc", u"m", u"", 1, u"", 0);
            std::_Exit(0);
        },
        ::testing::ExitedWithCode(0), "ERROR : \u00fc\n");
}

} // namespace

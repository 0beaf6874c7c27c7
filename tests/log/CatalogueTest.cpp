#include "RecordingRoad.h"

#include "internal/ReportClock.h"
#include "internal/ThreadIdMap.h"
#include "log/NTServiceLogger.h"
#include "log/NorqLoggerSTD.h"

#include <gtest/gtest.h>

#include <functional>

using namespace norq_std;

namespace {

struct Row {
    const char* name;
    WString id;
    LogEventPriority priority;
    WString text;
    std::function<void()> send;
};

constexpr const WChar* CALLER = u"app::Worker::run";

#define NUMBERED(catalogue, code, priority, text, ...)                                                                 \
    Row {                                                                                                              \
#code, u"" #code, priority, text, [] { catalogue::getInstance().code(CALLER __VA_OPT__(, ) __VA_ARGS__); }     \
    }

// clang-format off
const Row ROWS[] = {
    NUMBERED(NorqLoggerSTD, STD0000, INFO, u"Starting preference change event dispatch thread."),
    NUMBERED(NorqLoggerSTD, STD0001, INFO, u"Stopping preference change event dispatch thread."),
    NUMBERED(NorqLoggerSTD, STD0002, INFO, u"Using a PreferencesFactory.", u"a"),
    NUMBERED(NorqLoggerSTD, STD0003, INFO, u"Using a Paths.", u"a"),
    NUMBERED(NorqLoggerSTD, STD0004, INFO, u"Client <a> connected to service at <b>.", u"a", u"b"),
    NUMBERED(NorqLoggerSTD, STD0005, INFO, u"Client <a> disconnected from service at <b>.", u"a", u"b"),
    NUMBERED(NorqLoggerSTD, STD0006, INFO, u"Loaded shared library <a>.", u"a"),
    NUMBERED(NorqLoggerSTD, STD0007, INFO, u"Unloaded shared library <a>.", u"a"),
    NUMBERED(NorqLoggerSTD, STD0008, INFO, u"Debugging threshold changed to: <a>.", u"a"),
    NUMBERED(NorqLoggerSTD, STD0009, INFO, u"Maximum file size changed to: <4294967295>.", 4294967295u),
    NUMBERED(NorqLoggerSTD, STD0010, INFO, u"Maximum file count changed to: <4294967295>.", 4294967295u),
    NUMBERED(NorqLoggerSTD, STD2000, ERROR, u"Client <a> failed to send heart beat to service at <b>.", u"a", u"b"),
    NUMBERED(NorqLoggerSTD, STD2001, ERROR, u"Client <a> failed to connect to any service.", u"a"),
    NUMBERED(NorqLoggerSTD, STD2002, ERROR, u"The service controller threw an exception: a", u"a"),
    NUMBERED(NorqLoggerSTD, STD2003, ERROR, u"Failed to install console control signal translator.  Reason:[-5:a]", -5, u"a"),
    NUMBERED(NorqLoggerSTD, STD2004, ERROR, u"Failed to remove console control signal translator.  Reason:[-5:a]", -5, u"a"),
    NUMBERED(NorqLoggerSTD, STD3000, WARN, u"a b: <c>.", u"a", u"b", u"c"),
    NUMBERED(NorqLoggerSTD, STD3001, WARN, u"Registry key <a> is not of REG_SZ or REG_DWORD type.", u"a"),
    NUMBERED(NorqLoggerSTD, STD3002, WARN, u"Registry key <a> is not of REG_DWORD type.", u"a"),
    NUMBERED(NorqLoggerSTD, STD3003, WARN, u"Internal error: Caught unknown exception in <app::Worker::run>."),
    NUMBERED(NorqLoggerSTD, STD3004, WARN, u"Preference change notification queue has reached its maximum size <-5>.", -5),
    NUMBERED(NorqLoggerSTD, STD3005, WARN, u"Preference change blocker queue has reached its maximum size <-5>.", -5),
    NUMBERED(NorqLoggerSTD, STD3006, WARN, u"Unable to initialize Xerces XML system : a", u"a"),
    NUMBERED(NorqLoggerSTD, STD3007, WARN, u"Unable to shutdown Xerces XML system : a", u"a"),
    NUMBERED(NorqLoggerSTD, STD3008, WARN, u"The thread [a:b] terminated unexpectedly. Reason: c", u"a", u"b", u"c"),
    NUMBERED(NorqLoggerSTD, STD3009, WARN, u"Thread <0x1ffffffff:a> in thread pool <b> running task <c> is considered hung and removed. The running task d aborted.", 0x1FFFFFFFFull, u"a", u"b", u"c", u"d"),
    NUMBERED(NorqLoggerSTD, STD3010, WARN, u"Thread factory <a> could not create thread for thread pool <b>. Potentially discarding task <c>.", u"a", u"b", u"c"),
    NUMBERED(NorqLoggerSTD, STD3011, WARN, u"Failed to start the log file compression thread.  Log files may not be compressed automatically. Exception <a>", u"a"),
    NUMBERED(NorqLoggerSTD, STD3012, WARN, u"Caught <a> attempting to log a message. Thread: <0x1ffffffff>, File: <b>, Function: <c>, Line: <7>.", u"a", 0x1FFFFFFFFull, u"b", u"c", 7),
    NUMBERED(NorqLoggerSTD, STD3013, WARN, u"Failed to stop <a> thread: <b>.", u"a", u"b"),
    NUMBERED(NTServiceLogger, SL1005, ERROR, u"The Control handler could not be installed\n"),
    NUMBERED(NTServiceLogger, SL1006, ERROR, u"a failed to install. Error -5\n", u"a", -5),
    NUMBERED(NTServiceLogger, SL1007, ERROR, u"Could not remove a. Error -5\n", u"a", -5),
    NUMBERED(NTServiceLogger, SL1008, ERROR, u"Invalid Arguments, Exiting\n"),
    NUMBERED(NTServiceLogger, SL1009, ERROR, u"The Control handler could not be installed\n"),
    NUMBERED(NTServiceLogger, SL1010, ERROR, u"The initialization process failed\n"),
    NUMBERED(NTServiceLogger, SL2000, ERROR, u"Invalid service control code."),
    NUMBERED(NTServiceLogger, SL2001, ERROR, u"Invalid Request.\n"),
    NUMBERED(NTServiceLogger, SL4007, INFO, u"The Windows NT service has started."),
    NUMBERED(NTServiceLogger, SL4008, INFO, u"The Windows NT service received a stop message from the Windows NT service manager."),
    NUMBERED(NTServiceLogger, SL4009, INFO, u"The Windows NT service received a pause message from the Windows NT service manager."),
    NUMBERED(NTServiceLogger, SL4010, INFO, u"The Windows NT service is paused."),
    NUMBERED(NTServiceLogger, SL4011, INFO, u"The Windows NT service has stopped."),
    NUMBERED(NTServiceLogger, SL4012, INFO, u"The Windows NT service received a continue message from the Windows NT service manager."),
    NUMBERED(NTServiceLogger, SL4014, INFO, u"The Windows NT service received a shutdown message from the Windows NT service manager."),
    NUMBERED(NTServiceLogger, SL4015, INFO, u"The Windows NT service received a user control message from the Windows NT service manager."),
    NUMBERED(NTServiceLogger, SL4016, INFO, u"a Version 7.3\n", u"a", 7, 3),
    NUMBERED(NTServiceLogger, SL4017, INFO, u"The service is a installed\n", u"a"),
    NUMBERED(NTServiceLogger, SL4018, INFO, u"a is already installed\n", u"a"),
    NUMBERED(NTServiceLogger, SL4019, INFO, u"a installed\n", u"a"),
    NUMBERED(NTServiceLogger, SL4020, INFO, u"a is not installed\n", u"a"),
    NUMBERED(NTServiceLogger, SL4021, INFO, u"a removed.\n", u"a"),
    NUMBERED(NTServiceLogger, SL4022, INFO, u"Service Removed\n"),
    NUMBERED(NTServiceLogger, SL4023, INFO, u"Service Not Removed\n"),
    NUMBERED(NTServiceLogger, SL4024, INFO, u"Service Started\n"),
    NUMBERED(NTServiceLogger, SL4025, INFO, u"Service Control Stop message\n"),
    NUMBERED(NTServiceLogger, SL4026, INFO, u"Service Stopped\n"),
    NUMBERED(NTServiceLogger, SL4027, INFO, u"Service Control Pause message\n"),
    NUMBERED(NTServiceLogger, SL4028, INFO, u"Service Paused\n"),
    NUMBERED(NTServiceLogger, SL4029, INFO, u"Service Control Continue message\n"),
    NUMBERED(NTServiceLogger, SL4031, INFO, u"Service Control Shutdown message\n"),
    NUMBERED(NTServiceLogger, SL4032, INFO, u"Service Stopped\n"),
    NUMBERED(NTServiceLogger, SL4033, INFO, u"Service User Control message\n"),
    NUMBERED(NTServiceLogger, SL4034, INFO, u"<a>: Product <b> Version <c> Pri Build <d> Special Build <e> Platform <f> Debug threshold <g>.", u"a", u"b", u"c", u"d", u"e", u"f", u"g"),
    NUMBERED(NTServiceLogger, SL4035, INFO, u"An unexpected error occurred."),
    NUMBERED(NTServiceLogger, SL4036, INFO, u"<a>: Product <b> Version <c> Pri Build <d> Special Build <e>.", u"a", u"b", u"c", u"d", u"e"),
    NUMBERED(NTServiceLogger, SL4037, INFO, u"Platform <a>.", u"a"),
    NUMBERED(NTServiceLogger, SL4038, INFO, u"Debug threshold <a>.", u"a"),
};
// clang-format on

std::uint64_t testTime = 0;

class CatalogueTest : public testing::Test {
protected:
    void SetUp() override {
        testTime += 1'000'000; // beyond every report of an earlier case
        norq_std_internal::setReportClock([] { return testTime; });
    }
    void TearDown() override { norq_std_internal::setReportClock(nullptr); }

    RecordingRoad road;
};

/// A catalogue of a program's own, whose formats need not be right.
class OwnCatalogue : public NorqLogger {
public:
    WString getModuleName() const override { return u"Own"; }
    void broken(const WChar* function) {
        Error(NorqStd::SWString(u"OwnCatalogue::broken"), NorqStd::SWString(function), u"%n", nullptr);
    }
    void values(const WChar* function) {
        Fatal(NorqStd::SWString(u"values"), NorqStd::SWString(function), u"%d %ls %hs", -1, u"wide", "narrow");
    }
};

} // namespace

TEST_F(CatalogueTest, everyMessageKeepsItsPriorityIdAndText) {
    EXPECT_EQ(std::size(ROWS), 68u);
    for (const Row& row : ROWS) {
        SCOPED_TRACE(row.name);
        road.events.clear();
        row.send();
        ASSERT_EQ(road.events.size(), 1u);
        const LogEvent& event = road.events.front();
        EXPECT_EQ(event.priority, row.priority);
        EXPECT_EQ(event.errorId, row.id);
        EXPECT_EQ(event.message, row.text);
        EXPECT_EQ(event.function, u"Worker::run");
        EXPECT_EQ(event.module, u"NorqStd");
        EXPECT_EQ(event.threadId, norq_std_internal::currentThreadId());
        EXPECT_EQ(event.fileName, u"");
        EXPECT_EQ(event.lineNumber, 0u);
    }
}

TEST_F(CatalogueTest, reportsFailingAppendersOnceInThirtySeconds) {
    const auto report = [] { NorqLoggerSTD::getInstance().STD3012(nullptr, nullptr, 1, nullptr, nullptr, 0); };
    report();
    ASSERT_EQ(road.events.size(), 1u);
    EXPECT_EQ(road.events[0].message,
              u"Caught <> attempting to log a message. Thread: <0x1>, File: <>, Function: <>, Line: <0>.");
    testTime += 30000;
    report();
    EXPECT_EQ(road.events.size(), 1u);
    testTime += 1;
    report();
    EXPECT_EQ(road.events.size(), 2u);
    testTime += (1ull << 32) + 5; // a comparison of the low halves would take this for 5 ms
    report();
    EXPECT_EQ(road.events.size(), 3u);
}

TEST_F(CatalogueTest, ignoresTheThreshold) {
    norq_std_internal::LogRoad::setThreshold(FATAL);
    NorqLoggerSTD::getInstance().STD0000(CALLER);
    norq_std_internal::LogRoad::setThreshold(DEBUG);
    EXPECT_EQ(road.events.size(), 1u);
}

TEST_F(CatalogueTest, aFormatThatFailsStillGivesItsLineAndATrace) {
    OwnCatalogue own;
    own.broken(CALLER);
    ASSERT_EQ(road.events.size(), 2u);
    EXPECT_EQ(road.events[0].priority, DEBUG);
    EXPECT_EQ(road.events[0].module, u"NorqStd");
    EXPECT_EQ(road.events[0].function, u"norq_std::NorqLogger::Error");
    EXPECT_TRUE(road.events[0].message.starts_with(u"Error formatting message: Unable to format string: %n"));
    EXPECT_EQ(road.events[1].priority, ERROR);
    EXPECT_EQ(road.events[1].errorId, u"broken");
    EXPECT_EQ(road.events[1].module, u"Own");

    norq_std_internal::LogRoad::setThreshold(INFO);
    own.broken(CALLER);
    norq_std_internal::LogRoad::setThreshold(DEBUG);
    EXPECT_EQ(road.events.size(), 3u);

    own.values(CALLER);
    EXPECT_EQ(road.events.back().message, u"-1 wide narrow");
}

TEST(NorqLoggerTest, takesFunctionNamesApart) {
    struct {
        WString text, function, qualified;
    } const cases[] = {
        {u"a::b::c", u"c", u"b::c"},
        {u"a::b::c::d", u"d", u"c::d"},
        {u"b::c", u"c", u"c"},
        {u"c", u"c", u"c"},
        {u"", u"", u""},
        {u"::c", u"c", u"c"},
        {u"a::", u"", u""},
        {u"a::b::", u"", u"b::"},
        {u"::b::c", u"c", u"b::c"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(NorqLogger::getFunctionName(one.text), one.function);
        EXPECT_EQ(NorqLogger::getQualifiedFunctionName(one.text), one.qualified);
    }
}

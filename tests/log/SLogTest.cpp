#include "RecordingRoad.h"

#include "log/SLog.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

using namespace norq_std;
using norq_std_internal::LogRoad;
using NorqStd::SLog;
using NorqStd::SWString;

namespace {

class SLogTest : public testing::Test {
protected:
    void TearDown() override {
        LogRoad::setThreshold(DEBUG);
        SLog::SetDefaultLog(nullptr);
    }

    RecordingRoad road;
    SLog log;
};

struct Row {
    const char* what;
    std::function<void(SLog&)> call;
    LogEventPriority priority;
    const WChar* module;
    const WChar* errorId;
};

template <class Narrow, class Wide, class NarrowC, class WideC>
void addFamily(std::vector<Row>& rows, const char* what, LogEventPriority priority, Narrow narrow, Wide wide,
               NarrowC narrowC, WideC wideC) {
    for (const std::function<void(SLog&)>& call :
         {std::function<void(SLog&)>(narrow), std::function<void(SLog&)>(wide), std::function<void(SLog&)>(narrowC),
          std::function<void(SLog&)>(wideC)})
        rows.push_back({what, call, priority, u"SLog", u"E1"});
}

#define FAMILY(Name, priority)                                                                                         \
    addFamily(                                                                                                         \
        rows, #Name, priority, [](SLog& l) { l.Name(SWString("E1"), SWString("f"), "%s-%d", "x", 5); },                \
        [](SLog& l) { l.Name(SWString("E1"), SWString("f"), u"%ls-%d", u"x", 5); },                                    \
        [](SLog& l) { l.Name##C("E1", "f", "%s-%d", "x", 5); },                                                        \
        [](SLog& l) { l.Name##C(u"E1", u"f", u"%ls-%d", u"x", 5); })

std::vector<Row> everyOperation() {
    std::vector<Row> rows;
    FAMILY(Error, ERROR);
    FAMILY(Major, ERROR);
    FAMILY(Warn, WARN);
    FAMILY(Minor, WARN);
    FAMILY(Info, INFO);
    const SWString id("E1");
    const SWString f("f");
    const SWString format("%ls-%d");
    rows.insert(
        rows.end(),
        {
            {"Fatal", [=](SLog& l) { l.Fatal(id, f, u"%ls-%d", u"x", 5); }, FATAL, u"SLog", u"E1"},
            {"Fatal", [=](SLog& l) { l.Fatal(id, f, format, u"x", 5); }, FATAL, u"SLog", u"E1"},
            {"FatalC", [](SLog& l) { l.FatalC("E1", "f", "%s-%d", "x", 5); }, FATAL, u"SLog", u"E1"},
            {"FatalC", [](SLog& l) { l.FatalC(u"E1", u"f", u"%ls-%d", u"x", 5); }, FATAL, u"SLog", u"E1"},
            {"Debug", [=](SLog& l) { l.Debug(9, f, "%s-%d", "x", 5); }, DEBUG, u"SLogLevelDebug", u""},
            {"Debug", [=](SLog& l) { l.Debug(9, f, u"%ls-%d", u"x", 5); }, DEBUG, u"SLogLevelDebug", u""},
            {"DebugC", [](SLog& l) { l.DebugC(9, "f", "%s-%d", "x", 5); }, DEBUG, u"SLogLevelDebug", u""},
            {"DebugC", [](SLog& l) { l.DebugC(9, u"f", u"%ls-%d", u"x", 5); }, DEBUG, u"SLogLevelDebug", u""},
            {"Trace", [=](SLog& l) { l.Trace(f, "%s-%d", "x", 5); }, TRACE, u"SLogThresholdDebug", u""},
            {"Trace", [=](SLog& l) { l.Trace(f, u"%ls-%d", u"x", 5); }, TRACE, u"SLogThresholdDebug", u""},
            {"TraceC", [](SLog& l) { l.TraceC("f", "%s-%d", "x", 5); }, TRACE, u"SLogThresholdDebug", u""},
            {"TraceC", [](SLog& l) { l.TraceC("f", u"%ls-%d", u"x", 5); }, TRACE, u"SLogThresholdDebug", u""},
            {"ThreshDebug", [](SLog& l) { l.ThreshDebug(u"f", u"%ls-%d", u"x", 5); }, DEBUG, u"SLogThresholdDebug",
             u""},
            {"ThreshCall", [](SLog& l) { l.ThreshCall(u"f", u"%ls-%d", u"x", 5); }, CALL, u"SLogThresholdDebug", u""},
            {"ThreshTrace", [](SLog& l) { l.ThreshTrace(u"f", u"%ls-%d", u"x", 5); }, TRACE, u"SLogThresholdDebug",
             u""},
            {"ThreshDump", [](SLog& l) { l.ThreshDump(u"f", u"%ls-%d", u"x", 5); }, DUMP, u"SLogThresholdDebug", u""},
        });
    return rows;
}

} // namespace

TEST_F(SLogTest, everyOperationWritesItsPriorityModuleAndText) {
    LogRoad::setThreshold(DUMP);
    for (const Row& row : everyOperation()) {
        SCOPED_TRACE(row.what);
        road.events.clear();
        row.call(log);
        ASSERT_EQ(road.events.size(), 1u);
        const LogEvent& event = road.events[0];
        EXPECT_EQ(event.priority, row.priority);
        EXPECT_EQ(event.module, row.module);
        EXPECT_EQ(event.errorId, row.errorId);
        EXPECT_EQ(event.function, u"f");
        EXPECT_EQ(event.message, u"x-5");
        EXPECT_EQ(event.fileName, u"");
        EXPECT_EQ(event.lineNumber, 0u);
    }
}

TEST_F(SLogTest, aboveTheThresholdOnlyTheTestedFamiliesAreSilent) {
    LogRoad::setThreshold(FATAL);
    for (const Row& row : everyOperation()) {
        SCOPED_TRACE(row.what);
        road.events.clear();
        row.call(log);
        EXPECT_EQ(road.events.size(), WString(row.module) == u"SLogThresholdDebug" ? 0u : 1u);
    }
}

TEST_F(SLogTest, nullTextsAndWrongFormatsReachNobody) {
    log.ErrorC(static_cast<const char*>(nullptr), nullptr, "text");
    log.ErrorC(static_cast<const WChar*>(nullptr), nullptr, u"%n");
    log.InfoC("E", "f", static_cast<const char*>(nullptr));
    log.Warn(SWString(), SWString(), "100%");
    ASSERT_EQ(road.events.size(), 4u);
    EXPECT_EQ(road.events[0].function, u"");
    EXPECT_EQ(road.events[0].message, u"text");
    for (std::size_t i = 1; i < 4; ++i)
        EXPECT_EQ(road.events[i].message, u"Error in printing Log Message. Please check your Log statement.\n");
}

TEST_F(SLogTest, narrowTextIsOfTheDefaultCodePage) {
    log.InfoC("\x80", "\xE4", "%s %ls %c %hs", "\xFC", u"\u20AC", '\xF6', "z");
    ASSERT_EQ(road.events.size(), 1u);
    EXPECT_EQ(road.events[0].errorId, u"\u20AC");
    EXPECT_EQ(road.events[0].function, u"\u00E4");
    EXPECT_EQ(road.events[0].message, u"\u00FC \u20AC \u00F6 z");
}

TEST_F(SLogTest, thresholdQuestionsNameAPriorityAndAnythingElseAsksForDump) {
    const std::pair<int, LogEventPriority> rows[] = {{3, DEBUG}, {4, CALL}, {5, TRACE},
                                                     {6, DUMP},  {0, DUMP}, {99, DUMP}};
    for (const auto& [type, priority] : rows) {
        LogRoad::setThreshold(priority);
        EXPECT_TRUE(log.IsDebugThresholdOn(static_cast<NorqStd::thresholdEnumType>(type)));
        LogRoad::setThreshold(static_cast<LogEventPriority>(priority + 1));
        EXPECT_FALSE(log.IsDebugThresholdOn(static_cast<NorqStd::thresholdEnumType>(type)));
    }
}

TEST_F(SLogTest, settersHaveNoEffectAndInitIsAllThatIsKept) {
    EXPECT_FALSE(log.IsInitialized());
    EXPECT_TRUE(log.Init("p", "l"));
    log.SetLogFiles(7);
    log.SetThreshold("TRACE");
    EXPECT_EQ(log.GetLogFiles(), 0);
    EXPECT_EQ(log.GetThreshold(), "");
    const SLog copy(log);
    EXPECT_TRUE(copy.IsInitialized());
}

TEST_F(SLogTest, theDefaultLogIsTheOneThatWasSetOrOneThatIsMade) {
    EXPECT_TRUE(SLog::IsDefaultLogEmpty());
    SLog* const made = SLog::GetDefaultLog();
    EXPECT_EQ(SLog::GetDefaultLog(), made);
    EXPECT_TRUE(SLog::IsDefaultLogEmpty());
    {
        SLog other;
        SLog::SetDefaultLog(&other);
        EXPECT_EQ(SLog::GetDefaultLog(), &other);
        EXPECT_FALSE(SLog::IsDefaultLogEmpty());
    }
    EXPECT_EQ(SLog::GetDefaultLog(), made);
}

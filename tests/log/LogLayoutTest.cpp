#include "log/DebugFileFilter.h"
#include "log/LogEvent.h"
#include "log/LogFileFilter.h"
#include "log/NorqLogLayout.h"

#include "base/Class.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

using namespace norq_std;

namespace {

class LogLayoutTest : public testing::Test {
protected:
    void SetUp() override { setZone("UTC0"); }
    void TearDown() override {
        unsetenv("TZ");
        tzset();
    }

    static void setZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
        NorqLogLayout().format(LogEvent()); // local time is worked out anew for another second alone
    }

    static LogEvent sample(LogEventPriority priority, const WString& message) {
        LogEvent event(priority);
        event.time = {1709802302, 41};
        event.message = message;
        return event;
    }

    NorqLogLayout plain;
    NorqLogLayout debug{true};
};

} // namespace

TEST_F(LogLayoutTest, writesTheTwoForms) {
    EXPECT_EQ(plain.format(sample(INFO, u"Service started.")), u"2024-03-07 09:05:02:041 INFO Service started.\n");

    LogEvent event = sample(DEBUG, u"Queue drained.");
    event.threadId = 0x1f4;
    event.fileName = u"Worker";
    event.lineNumber = 88;
    event.function = u"norq_std::Worker::run";
    EXPECT_EQ(debug.format(event),
              u"2024-03-07 09:05:02:041 DEBUG [0x1f4] Worker[88] norq_std::Worker::run: Queue drained.\n");
    EXPECT_EQ(plain.format(event), u"2024-03-07 09:05:02:041 DEBUG Worker[88] Queue drained.\n");
}

TEST_F(LogLayoutTest, leavesOutWhatIsNotKnown) {
    const WString time = u"2024-03-07 09:05:02:041 ";
    LogEvent event = sample(WARN, u"");
    EXPECT_EQ(plain.format(event), time + u"WARN \n");
    EXPECT_EQ(debug.format(event), time + u"WARN : \n"); // 0xFFFFFFFF is no thread
    event.threadId = 0;
    EXPECT_EQ(debug.format(event), time + u"WARN [0x0] : \n");
    event.threadId = UINT64_MAX;
    EXPECT_EQ(debug.format(event), time + u"WARN [0xffffffffffffffff] : \n");
    event.errorId = u"STD3012";
    event.lineNumber = 7;
    EXPECT_EQ(plain.format(event), time + u"WARN STD3012 \n"); // no line without a file
    event.fileName = u"A.cpp";
    EXPECT_EQ(plain.format(event), time + u"WARN STD3012 A.cpp[7] \n");
    event.lineNumber = 0;
    EXPECT_EQ(plain.format(event), time + u"WARN STD3012 A.cpp \n");
}

TEST_F(LogLayoutTest, endsEachLineOnce) {
    EXPECT_TRUE(plain.format(sample(INFO, u"a\n")).ends_with(u"INFO a\n"));
    EXPECT_TRUE(plain.format(sample(INFO, u"a\nb")).ends_with(u"INFO a\nb\n"));
    EXPECT_TRUE(plain.format(sample(INFO, u"\n")).ends_with(u"INFO \n"));
    EXPECT_TRUE(plain.format(sample(INFO, u"a\n\n")).ends_with(u"INFO a\n\n"));
    const WString large(100'000, u'\u20ac');
    EXPECT_EQ(plain.format(sample(INFO, large)).size(), 29u + large.size() + 1);
}

TEST_F(LogLayoutTest, followsTheZone) {
    const LogEvent event = sample(INFO, u"x");
    setZone("UTC-5:30");
    EXPECT_TRUE(plain.format(event).starts_with(u"2024-03-07 14:35:02:041 "));
    setZone("UTC10");
    EXPECT_TRUE(plain.format(event).starts_with(u"2024-03-06 23:05:02:041 "));
}

TEST_F(LogLayoutTest, writesYearsOfAnyLengthAndNoTimeWhereThereIsNone) {
    LogEvent event = sample(INFO, u"x");
    event.time = {-62135596800 + 86400 * 365, 0};
    EXPECT_EQ(plain.format(event), u"2-01-01 00:00:00:000 INFO x\n");
    event.time = {253402300800, 999};
    EXPECT_EQ(plain.format(event), u"10000-01-01 00:00:00:999 INFO x\n");
    event.time = {INT64_MAX, 0};
    EXPECT_EQ(plain.format(event), u"INFO x\n");
}

TEST_F(LogLayoutTest, takesDebugFromItsPropertiesAlone) {
    const auto made = [&](const Configurable::Properties& properties) {
        const std::unique_ptr<NorqLogLayout> layout(plain.newInstance(properties));
        layout->setProperty(u"debug", u"true"); // too late: a layout does not change
        return layout->toString();
    };
    EXPECT_EQ(made({{u"debug", u"true"}}), u"NorqLogLayout{debug=true}");
    EXPECT_EQ(made({{u"debug", u"TRUE"}}), u"NorqLogLayout{debug=false}");
    EXPECT_EQ(made({{u"Debug", u"true"}}), u"NorqLogLayout{debug=false}");
    EXPECT_EQ(made({}), u"NorqLogLayout{debug=false}");
}

TEST(LogFilterTest, thePlainFileBeginsAtInfo) {
    DebugFileFilter all;
    LogFileFilter plain;
    for (int value = DUMP; value <= FATAL; ++value) {
        const LogEvent event(static_cast<LogEventPriority>(value));
        EXPECT_EQ(all.decide(event), ILogEventFilter::ACCEPT);
        EXPECT_EQ(plain.decide(event), value >= INFO ? ILogEventFilter::ACCEPT : ILogEventFilter::DENY);
    }
}

TEST(LogRegistryTest, thePipelineIsBuiltFromClassNames) {
    const auto registered = [](const WString& name) {
        const auto prototype = Class::getInstance().getObject<Configurable>(name);
        if (!prototype)
            return WString(u"absent");
        return std::unique_ptr<Configurable>(prototype->newInstance({{u"debug", u"true"}}))->toString();
    };
    EXPECT_EQ(registered(u"norq_std.DebugFileFilter"), u"DebugFileFilter{}");
    EXPECT_EQ(registered(u"norq_std.LogFileFilter"), u"LogFileFilter{}");
    EXPECT_EQ(registered(u"norq_std.NorqLogLayout"), u"NorqLogLayout{debug=true}");
    EXPECT_EQ(registered(u"norq_std.OutputDebugAppender"), u"OutputDebugAppender{}");
    EXPECT_EQ(registered(u"norq_std.VectorLogAppender"), u"absent");
    EXPECT_EQ(Class::getInstance().getObject<ILogEventFilter>(u"norq_std.NorqLogLayout"), nullptr);
}

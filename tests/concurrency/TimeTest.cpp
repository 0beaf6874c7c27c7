#include "concurrency/AtomicInteger.h"
#include "concurrency/AtomicLong.h"
#include "concurrency/Event.h"
#include "concurrency/Lock.h"
#include "concurrency/NorqAutoCriticalSection.h"
#include "concurrency/NorqCond.h"
#include "concurrency/NorqMutex.h"
#include "concurrency/NorqThreadData.h"
#include "concurrency/NorqThreadFunctions.h"
#include "concurrency/SmartEvent.h"
#include "concurrency/TimeSpec.h"
#include "concurrency/TimeUtils.h"
#include "exception/NorqException.h"
#include "internal/LogTimeText.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <thread>
#include <vector>

using namespace norq_std;
using namespace NorqStd;

namespace {

/// The process's time zone for the time of a test.
class Zone {
public:
    explicit Zone(const char* name) {
        if (const char* text = std::getenv("TZ"))
            before = text;
        set(name);
    }
    ~Zone() { before.empty() ? unsetenv("TZ") : setenv("TZ", before.c_str(), 1); }

    void set(const char* name) { setenv("TZ", name, 1); }

private:
    std::string before;
};

constexpr const char* CENTRAL_EUROPE = "CET-1CEST,M3.5.0,M10.5.0/3";

} // namespace

TEST(TimeSpecTest, KeepsNanosecondsInRange) {
    constexpr std::int32_t min = std::numeric_limits<std::int32_t>::min();
    TimeSpec added(5, 999'000'000);
    added.addMilliseconds(1);
    TimeSpec taken(5, 0);
    taken.addMilliseconds(-1'001);
    TimeSpec set(3, 5);
    set.setNanoseconds(-1);
    const struct {
        TimeSpec value;
        TimeSpec expected;
    } rows[] = {
        {TimeSpec(1, 1'500'000'000), TimeSpec(2, 500'000'000)},
        {TimeSpec(1, -1), TimeSpec(0, 999'999'999)},
        {TimeSpec(0, min), TimeSpec(-3, 852'516'352)},
        {added, TimeSpec(6, 0)},
        {taken, TimeSpec(3, 999'000'000)},
        {set, TimeSpec(2, 999'999'999)},
        {TimeSpec(1, 600'000'000) + TimeSpec(2, 600'000'000), TimeSpec(4, 200'000'000)},
        {TimeSpec(1, 0) - TimeSpec(2, 1), TimeSpec(-2, 999'999'999)},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.value.getSeconds(), row.expected.getSeconds());
        EXPECT_EQ(row.value.getNanoseconds(), row.expected.getNanoseconds());
    }
    EXPECT_EQ(TimeSpec(-1, 7).toString(), u"TimeSpec{seconds=-1,nanoseconds=7}");
    EXPECT_EQ(TimeSpec::getCurrentTime().getNanoseconds() % 1'000'000, 0);
}

TEST(TimeUtilsTest, LocalTimeFollowsZoneAndSummerTime) {
    Zone zone("UTC0");
    const struct {
        const char* zone;
        std::uint64_t ms;
        const char16_t* text;
        int weekday;
    } rows[] = {
        {"UTC0", 1'500, u"1970-01-01 00:00:01.500", 4},
        {CENTRAL_EUROPE, 1'500, u"1970-01-01 01:00:01.500", 4},
        {"EST5", 1'500, u"1969-12-31 19:00:01.500", 3},
        {CENTRAL_EUROPE, 1'711'846'799'007, u"2024-03-31 01:59:59.007", 0},
        {CENTRAL_EUROPE, 1'711'846'800'000, u"2024-03-31 03:00:00.000", 0},
        {"UTC0", 253'402'300'800'000, u"10000-01-01 00:00:00.000", 6},
    };
    for (const auto& row : rows) {
        zone.set(row.zone);
        EXPECT_EQ(TimeUtils::getTimestampForTimeMs(row.ms), row.text);
        EXPECT_EQ(TimeUtils::getWeekdayForTimeMs(row.ms), row.weekday);
    }
    EXPECT_EQ(TimeUtils::getTimestampForTimeMs(std::numeric_limits<std::uint64_t>::max()).substr(0, 5), u"58455");
    EXPECT_EQ(TimeUtils::getTimezone(), u"UTC");
    zone.set(CENTRAL_EUROPE);
    EXPECT_EQ(TimeUtils::getTimezone(), u"CET");
    EXPECT_EQ(TimeUtils::getDSTZone(), u"CEST");
}

TEST(TimeUtilsTest, TimeOfALogLineFollowsSecondsAndZone) {
    Zone zone(CENTRAL_EUROPE);
    TimeUtils::getTimezone(); // tells of the change
    norq_std_internal::LogTimeText text;
    EXPECT_EQ(text.of(1'711'846'799, 7), "2024-03-31 01:59:59:007 ");
    EXPECT_EQ(text.of(1'711'846'799, 999), "2024-03-31 01:59:59:999 ");
    EXPECT_EQ(text.of(1'711'846'800, 0), "2024-03-31 03:00:00:000 ");
    EXPECT_EQ(text.of(1'711'846'799, 10), "2024-03-31 01:59:59:010 ");
    zone.set("EST5");
    TimeUtils::getTimezone();
    EXPECT_EQ(text.of(1'711'846'799, 10), "2024-03-30 19:59:59:010 ");
}

TEST(TimeUtilsTest, FormatReplacesMillisecondsAndLimitsLength) {
    const Zone zone(CENTRAL_EUROPE);
    const struct {
        const char16_t* format;
        const char16_t* text;
    } rows[] = {
        {u"%Y-%m-%d %H:%M:%S.%s", u"2024-03-31 01:59:59.7"},
        {u"%s%%%s", u"7%7"},
        {u"\u00DCber\xD800 \u65E5 %Z%p|", u"\u00DCber\xD800 \u65E5 CETAM|"},
        {u"%_5d|%Ey|%", u"   31|24|%"},
        {u"%\u65E5", u"%\u65E5"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(TimeUtils::formatTime(row.format, 1'711'846'799'007), row.text);
    const WString longest(2047, u'x');
    EXPECT_EQ(TimeUtils::formatTime(longest.c_str(), 0), longest);
    for (const WString& bad : {WString(), longest + u'x', WString(u"%2048d"), WString(u"%999999999d")})
        EXPECT_THROW(TimeUtils::formatTime(bad.c_str(), 0), NorqIllegalArgumentException);
    EXPECT_THROW(TimeUtils::formatTime(nullptr, 0), NorqIllegalArgumentException);
}

TEST(AtomicTest, CountersReturnTheRightSideOfTheStep) {
    AtomicInteger number(5);
    EXPECT_EQ(number.getAndAdd(2), 5);
    EXPECT_EQ(number.addAndGet(-10), -3);
    EXPECT_EQ(number.getAndIncrement() + number.incrementAndGet(), -3 + -1);
    EXPECT_EQ(number.getAndDecrement() + number.decrementAndGet(), -1 + -3);
    EXPECT_FALSE(number.compareAndSet(5, 6));
    EXPECT_TRUE(number.compareAndSet(-3, std::numeric_limits<std::int32_t>::max()));
    EXPECT_EQ(number.incrementAndGet(), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(number.getAndSet(-4), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(number.toString(), u"AtomicInteger{value=-4}");
    AtomicLong large;
    EXPECT_EQ(large.getAndDecrement(), 0U);
    EXPECT_EQ(large.toString(), u"AtomicLong{value=18446744073709551615}");
    EXPECT_EQ(large.addAndGet(2), 1U);
    EXPECT_EQ(large.decrementAndGet() + large.incrementAndGet() + large.getAndIncrement() + large.getAndSet(9), 4U);
    EXPECT_TRUE(large.compareAndSet(9, 10));
    EXPECT_EQ(large.get(), 10U);
}

TEST(HandleClassesTest, WithoutHandleNothingHappens) {
    NorqMutex mutex;
    NorqCond condition;
    NorqCriticalSection section;
    mutex.Lock();
    mutex.UnLock();
    condition.Wait(mutex);
    condition.Signal();
    section.Enter();
    section.Leave();
    mutex.Destroy();
    condition.Destroy();
    section.Destroy();
}

TEST(HandleClassesTest, SignalReachesThoseWhoWaitAndIsGone) {
    NorqMutex mutex;
    NorqCond condition;
    mutex.Create();
    condition.Create();
    condition.Signal(); // lost
    int waiting = 0;
    int released = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            mutex.Lock();
            mutex.Lock();
            mutex.UnLock();
            ++waiting;
            condition.Wait(mutex);
            ++released;
            mutex.UnLock();
        });
    // A pulse may fall between the release of the mutex and the wait, so it is given until all have gone.
    for (bool done = false; !done; std::this_thread::yield()) {
        mutex.Lock();
        done = released == 3;
        if (waiting == 3 && !done)
            condition.Signal();
        mutex.UnLock();
    }
    for (std::thread& thread : threads)
        thread.join();
    condition.Destroy();
    mutex.Destroy();
}

TEST(HandleClassesTest, CopiesOfAnAutomaticSectionShareIt) {
    NorqAutoCriticalSection copy;
    {
        NorqAutoCriticalSection original;
        original.Create();
        copy = original;
        const NorqAutoCriticalSection third(original);
        original.Enter();
    }
    bool entered = false;
    std::thread other([&] {
        copy.Enter();
        entered = true;
        copy.Leave();
    });
    EXPECT_FALSE(entered);
    copy.Leave();
    other.join();
    EXPECT_TRUE(entered);
}

TEST(HandleClassesTest, ThreadDataBelongsToTheThread) {
    NorqThreadData data;
    int mine = 0;
    void* value = nullptr;
    EXPECT_FALSE(data.Set(&mine));
    data.Create();
    EXPECT_TRUE(data.Set(&mine));
    std::thread([&] {
        void* other = &mine;
        EXPECT_FALSE(data.Get(&other));
    }).join();
    EXPECT_TRUE(data.Get(&value));
    EXPECT_EQ(value, &mine);
    EXPECT_TRUE(data.Set(nullptr));
    EXPECT_FALSE(data.Get(&value));
    data.Destroy();
    EXPECT_FALSE(data.Get(&value));
    EXPECT_TRUE(NorqSleep_ms(-1));
    EXPECT_NE(NorqGetThreadID(), 0U);
}

TEST(HandleClassesTest, Descriptions) {
    Event event(true, false);
    EXPECT_EQ(event.toString(), u"Event{autoReset=1,signaled=0}");
    EXPECT_EQ(Lock().toString() + Waitable(false, true).toString(), u"Lock{}Waitable{}");
    EXPECT_EQ(SmartEvent(true, true).toString(), u"SmartEvent{}");
}

// Events of the operating system, and waits for any of many objects.

#include "platform/Event.h"

#include "support/Actor.h"
#include "support/NothingLeft.h"

#include "base/UtfUtils.h"
#include "platform/DirectoryChange.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <numeric>
#include <set>

namespace fs = std::filesystem;
using namespace norq_std_internal::platform;
using norqstd_test::Actor;

namespace {

using Reset = Event::Reset;
using Objects = std::vector<WaitObject*>;

class EventTest : public norqstd_test::NothingLeft {};
class DirectoryChangeTest : public norqstd_test::NothingLeft {
protected:
    std::unique_ptr<DirectoryChange> open(DirectoryChangeGroup& group, std::uint32_t filter) {
        std::u16string advice;
        return group.open(norq_std::UtfUtils::utf8ToUtf16(folder().string()), filter, advice);
    }
};

void touch(const fs::path& path) { std::ofstream(path) << ""; }

std::vector<std::u16string> names(const std::vector<Change>& changes) {
    std::vector<std::u16string> result;
    for (const Change& change : changes)
        result.push_back(change.everything ? u"everything" : change.name);
    return result;
}

} // namespace

TEST_F(EventTest, AutoResetIsTakenByOneWaitAndManualResetStays) {
    Event one(Reset::Auto), all(Reset::Manual);
    const Objects objects{&one, &all};
    EXPECT_EQ(waitForAny(objects, 0), WaitTimedOut);
    one.set();
    one.set();
    EXPECT_EQ(waitForAny(objects, -1), 0);
    EXPECT_EQ(waitForAny(objects, 1), WaitTimedOut);
    all.set();
    EXPECT_EQ(waitForAny(objects, -1), 1);
    EXPECT_EQ(waitForAny(objects, -1), 1);
    one.set();
    EXPECT_EQ(waitForAny(objects, 0), 0) << "the lowest index of those that are signalled";
    all.reset();
    EXPECT_EQ(waitForAny(objects, 0), WaitTimedOut);
}

TEST_F(EventTest, EachSignalOfAnAutoResetEventReleasesOneOfManyWaiters) {
    constexpr std::size_t Waiters = 4, Others = 150; // more objects than a wait of the family used to take
    std::vector<std::unique_ptr<Event>> events;
    for (std::size_t i = 0; i < Others; ++i)
        events.push_back(std::make_unique<Event>(Reset::Manual));
    Event work(Reset::Auto);
    Objects objects;
    for (const auto& event : events)
        objects.push_back(event.get());
    objects.push_back(&work);

    std::atomic<int> released{0};
    std::vector<std::unique_ptr<Actor>> actors;
    std::vector<std::future<void>> steps;
    for (std::size_t i = 0; i < Waiters; ++i) {
        actors.push_back(std::make_unique<Actor>());
        steps.push_back(actors.back()->begin([&] {
            if (waitForAny(objects, norqstd_test::longLimitMillis()) == static_cast<int>(Others))
                ++released;
        }));
    }
    for (int i = 1; i <= static_cast<int>(Waiters); ++i) {
        work.set();
        ASSERT_TRUE(norqstd_test::eventually([&] { return released == i; }));
    }
    for (auto& step : steps)
        step.get();
}

TEST_F(DirectoryChangeTest, NotificationsComeInOrderAndOncePerEntry) {
    DirectoryChangeGroup group;
    const auto handle = open(group, FileNameChanges | SizeChanges);
    ASSERT_NE(handle, nullptr);
    const Objects objects{handle.get()};
    EXPECT_EQ(waitForAny(objects, 0), WaitTimedOut);
    for (const char* name : {"b", "a", "b", "\xc3\xa4"})
        touch(folder() / name);
    fs::create_directory(folder() / "directory"); // whose names were not asked for
    EXPECT_EQ(waitForAny(objects, -1), 0);
    Change change;
    EXPECT_TRUE(handle->next(change));
    EXPECT_EQ(change.name, u"b");
    EXPECT_EQ(waitForAny(objects, 0), 0) << "signalled as long as there is more";
    EXPECT_EQ(names(handle->drain()), (std::vector<std::u16string>{u"a", u"ä"}));
    EXPECT_EQ(waitForAny(objects, 0), WaitTimedOut);
    fs::remove(folder() / "directory");
    EXPECT_EQ(names(handle->drain()), std::vector<std::u16string>{});
}

TEST_F(DirectoryChangeTest, WhoeverWakesFetchesForAllGroups) {
    DirectoryChangeGroup here, there;
    const auto first = open(here, FileNameChanges);
    const auto second = open(there, FileNameChanges);
    Actor other;
    const auto woken = other.begin([&] { EXPECT_EQ(waitForAny(Objects{second.get()}, -1), 0); });
    touch(folder() / "file");
    EXPECT_EQ(waitForAny(Objects{first.get()}, norqstd_test::longLimitMillis()), 0);
    EXPECT_TRUE(norqstd_test::becomesReady(woken));
    EXPECT_EQ(names(first->drain()), std::vector<std::u16string>{u"file"});
    EXPECT_EQ(names(second->drain()), std::vector<std::u16string>{u"file"});
}

TEST_F(DirectoryChangeTest, WhatTheKernelDroppedIsEverything) {
    touch(folder() / "seed");
    DirectoryChangeGroup group;
    const auto handle = open(group, FileNameChanges);
    std::size_t limit = 0;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> limit;
    for (std::size_t i = 0; i <= limit / 2; ++i) {
        fs::create_hard_link(folder() / "seed", folder() / "1");
        fs::remove(folder() / "1");
    }
    EXPECT_EQ(names(handle->drain()), (std::vector<std::u16string>{u"1", u"everything"}));
    touch(folder() / "2");
    EXPECT_EQ(names(handle->drain()), std::vector<std::u16string>{u"2"});
}

TEST_F(DirectoryChangeTest, PathsThatLeadNowhereAreRefused) {
    touch(folder() / "file");
    fs::create_symlink("loop", folder() / "loop");
    DirectoryChangeGroup group;
    std::u16string advice;
    for (const char* name : {"file", "loop", "absent", "absent/below"})
        EXPECT_EQ(group.open(norq_std::UtfUtils::utf8ToUtf16((folder() / name).string()), FileNameChanges, advice),
                  nullptr)
            << name;
    EXPECT_EQ(advice, u"");
}

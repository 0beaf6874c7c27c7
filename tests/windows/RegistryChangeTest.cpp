// Hearing of changes: of that key alone, whoever made them and however.

#include "RegistryKeys.h"

#include "support/Files.h"
#include "support/Limits.h"

#include <gtest/gtest.h>

#include <deque>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <csignal>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace norqstd_test;
namespace fs = std::filesystem;

using EventPtr = std::shared_ptr<platform::RegistryChange>;

class RegistryChangeTest : public RegistryFolder {
protected:
    void TearDown() override {
        keys.clear();
        events.clear();
        group.reset();
        RegistryFolder::TearDown();
    }

    /// The index of a key, made if it is not there, whose changes are asked for.
    std::size_t watch(std::u16string_view path, std::uint32_t filter = norq_std::REG_NOTIFY_CHANGE_LAST_SET) {
        keys.emplace_back(path);
        events.push_back(group->makeEvent());
        EXPECT_EQ(askFor(keys.size() - 1, filter), 0);
        return keys.size() - 1;
    }
    std::int32_t askFor(std::size_t index, std::uint32_t filter = norq_std::REG_NOTIFY_CHANGE_LAST_SET) {
        return platform::notifyRegistryChange(keys[index].handle, false, filter, events[index]);
    }
    /// The key that is signalled first, which is then asked for again; -1 if none is.
    int next(std::int32_t limit = longLimitMillis()) {
        std::vector<platform::WaitObject*> objects;
        for (const EventPtr& event : events)
            objects.push_back(event.get());
        const int index = platform::waitForAny(objects, limit);
        if (index >= 0) {
            events[static_cast<std::size_t>(index)]->reset();
            static_cast<void>(askFor(static_cast<std::size_t>(index)));
        }
        return index;
    }
    /// Sets a value in another process.
    static void setElsewhere(std::u16string_view path, const std::u16string& text) {
        EXPECT_EQ(inChild([&] { return StoreKey(path).set(u"value", text); }), 0);
    }

    std::unique_ptr<platform::RegistryChangeGroup> group = std::make_unique<platform::RegistryChangeGroup>();
    std::deque<StoreKey> keys;
    std::vector<EventPtr> events;
};

TEST_F(RegistryChangeTest, TheKeyAndNoOtherIsSignalledFromAnyProcess) {
    EXPECT_EQ(watch(u"a"), 0u);
    EXPECT_EQ(watch(u"a\\below"), 1u);
    EXPECT_EQ(watch(u"b"), 2u);
    EXPECT_EQ(watch(u"B"), 3u); // the same once more
    EXPECT_EQ(next(0), -1);
    setElsewhere(u"a\\below\\deeper", u"x");
    setElsewhere(u"a\\below", u"x");
    EXPECT_EQ(next(), 1);
    setElsewhere(u"b", u"x");
    EXPECT_EQ(next(), 2);
    EXPECT_EQ(next(), 3);
    EXPECT_EQ(keys[0].set(u"value", u"x"), 0);
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(keys[0].set(u"value", u"x"), 0); // what it was: it has been set all the same
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(platform::deleteRegistryValue(keys[0].handle, u"value"), 0);
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(next(0), -1);
}

TEST_F(RegistryChangeTest, KeysThatShareAStampAreToldApart) {
    const std::size_t places = 4096; // so many stamps there are
    StoreKey(u"many\\first");
    HKey handle = 0;
    bool existed = false;
    const StoreKey parent(u"many");
    EXPECT_EQ(watch(u"many\\first"), 0u);
    for (std::size_t i = 1; i < places; ++i) {
        const std::string name = std::to_string(i);
        ASSERT_EQ(platform::createRegistryKey(parent.handle, std::u16string(name.begin(), name.end()),
                                              norq_std::KEY_READ, handle, existed),
                  0);
        platform::closeRegistryKey(handle);
    }
    EXPECT_EQ(watch(u"many\\last"), 1u);
    setElsewhere(u"many\\last", u"x");
    EXPECT_EQ(next(), 1);
    EXPECT_EQ(next(0), -1);
    setElsewhere(u"many\\first", u"x");
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(platform::deleteRegistryTree(User, u"many"), 0); // so many that each place is meant
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(next(), 1);
}

TEST_F(RegistryChangeTest, AThousandKeysNeedFewDescriptorsAndOneWait) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit few{128, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    const auto path = [](std::size_t i) {
        const std::string name = std::to_string(i);
        return u"key\\" + std::u16string(name.begin(), name.end());
    };
    for (std::size_t i = 0; i < 1200; ++i)
        ASSERT_EQ(watch(path(i)), i);
    for (const std::size_t i : {1199u, 64u, 0u}) {
        setElsewhere(path(i), u"x");
        EXPECT_EQ(next(), static_cast<int>(i));
    }
    EXPECT_EQ(next(0), -1);
    setrlimit(RLIMIT_NOFILE, &limit);
}

TEST_F(RegistryChangeTest, NothingIsMissedBetweenListingAndAsking) {
    watch(u"key");
    std::vector<platform::RegistryEntry> entries;
    EXPECT_EQ(platform::listRegistryValues(keys[0].handle, entries), 0);
    setElsewhere(u"key", u"1");
    EXPECT_EQ(next(), 0);
    setElsewhere(u"key", u"2"); // asked for already, not listed yet
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(platform::listRegistryValues(keys[0].handle, entries), 0);
    EXPECT_EQ(next(0), -1);

    const StoreKey fresh(u"fresh");
    EXPECT_EQ(platform::listRegistryValues(fresh.handle, entries), 0);
    setElsewhere(u"fresh", u"1");
    const EventPtr event = group->makeEvent();
    EXPECT_EQ(platform::notifyRegistryChange(fresh.handle, false, norq_std::REG_NOTIFY_CHANGE_LAST_SET, event), 0);
    EXPECT_TRUE(event->take());
}

TEST_F(RegistryChangeTest, WhatNobodyAnnouncedIsFoundAllTheSame) {
    watch(u"key");
    setElsewhere(u"key", u"before");
    EXPECT_EQ(next(), 0);
    // As a writer leaves it that is killed between its commit and its stamp, or a tool that knows of no stamps.
    byHand(userDatabase(), "UPDATE value SET data='by hand'");
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(keys[0].get(u"value"), u"by hand");
    fs::remove(userDatabase().string() + "-changes");
    setElsewhere(u"key", u"and again");
    EXPECT_EQ(next(), 0);
}

TEST_F(RegistryChangeTest, OutlivesTheDatabase) {
    watch(u"key");
    watch(u"same");
    EXPECT_EQ(keys[0].set(u"value", u"old"), 0);
    EXPECT_EQ(next(), 0);
    platform::closeRegistryHives();
    byHand(userDatabase(), "PRAGMA wal_checkpoint(TRUNCATE)");
    const fs::path other = folder() / "other";
    fs::copy(userDatabase(), other);
    byHand(other, "UPDATE value SET data='new'");
    fs::rename(other, userDatabase());
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(keys[0].get(u"value"), u"new");
    setElsewhere(u"key", u"newer");
    EXPECT_EQ(next(), 0);
    setElsewhere(u"same", u"x");
    EXPECT_EQ(next(), 1);
}

TEST_F(RegistryChangeTest, ARemovedKeySignalsOnceAndRefusesThen) {
    watch(u"a\\key");
    watch(u"a", norq_std::REG_NOTIFY_CHANGE_NAME);
    EXPECT_EQ(platform::deleteRegistryTree(User, u"a\\key"), 0);
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(next(), 1);
    EXPECT_EQ(askFor(0), 1018);
    EXPECT_EQ(askFor(1, norq_std::REG_NOTIFY_CHANGE_NAME), 0);
    StoreKey(u"a\\other");
    EXPECT_EQ(next(), 1);
    EXPECT_EQ(next(0), -1);
}

TEST_F(RegistryChangeTest, BadRequestsAreRefusedAndClosedKeysAreSilent) {
    const EventPtr event = group->makeEvent();
    const StoreKey blind(u"key", User, norq_std::KEY_WRITE);
    EXPECT_EQ(platform::notifyRegistryChange(blind.handle, false, 4, event), 5);
    EXPECT_EQ(platform::notifyRegistryChange(User, false, 4, event), 6);
    {
        const StoreKey key(u"key");
        EXPECT_EQ(platform::notifyRegistryChange(key.handle, true, 4, event), 87);
        EXPECT_EQ(platform::notifyRegistryChange(key.handle, false, 2, event), 87);
        EXPECT_EQ(platform::notifyRegistryChange(key.handle, false, 4, nullptr), 87);
        EXPECT_EQ(platform::notifyRegistryChange(key.handle, false, 4, event), 0);
    }
    watch(u"other");
    EXPECT_EQ(blind.set(u"value", u"x"), 0);
    setElsewhere(u"other", u"x");
    EXPECT_EQ(next(), 0);
    EXPECT_FALSE(event->take());
}

TEST_F(RegistryChangeTest, AWaitThatHasBegunHearsOfLaterRequests) {
    const StoreKey key(u"key");
    const EventPtr event = group->makeEvent();
    std::thread other([&] {
        EXPECT_EQ(platform::notifyRegistryChange(key.handle, false, 4, event), 0);
        setElsewhere(u"key", u"x");
    });
    platform::WaitObject* const object = event.get();
    EXPECT_EQ(platform::waitForAny({&object, 1}, longLimitMillis()), 0);
    other.join();
}

TEST_F(RegistryChangeTest, AReaderHearsAndAKilledOneLeavesNothing) {
    fs::permissions(folder(), fs::perms(0755));
    const StoreKey key(u"key", Machine);
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const auto reader = [&](bool forEver) {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0))
            return 2;
        platform::RegistryChangeGroup own;
        const StoreKey watched(u"key", Machine, norq_std::KEY_READ);
        const EventPtr event = own.makeEvent();
        if (platform::notifyRegistryChange(watched.handle, false, 4, event) != 0)
            return 3;
        platform::WaitObject* const object = event.get();
        if (write(ready[1], "!", 1) != 1 || platform::waitForAny({&object, 1}, longLimitMillis()) != 0)
            return 4;
        if (forEver)
            pause();
        return watched.get(u"value") == u"told" ? 0 : 5;
    };
    for (const bool killed : {true, false}) {
        const pid_t child = fork();
        if (child == 0)
            _exit(reader(killed));
        char mark = 0;
        ASSERT_EQ(read(ready[0], &mark, 1), 1);
        if (killed)
            kill(child, SIGKILL);
        EXPECT_EQ(key.set(u"value", u"told"), 0);
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, killed ? SIGKILL : 0);
    }
    close(ready[0]);
    close(ready[1]);
}

} // namespace

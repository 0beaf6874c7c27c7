// The database of a hive: who may share it, what may happen to it, and what must never come of that.

#include "RegistryKeys.h"

#include "support/Actor.h"
#include "support/Files.h"
#include "support/Limits.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <csignal>
#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace norqstd_test;
namespace fs = std::filesystem;

class RegistryStoreTest : public RegistryFolder {
protected:
    /// A hive of its own in another folder, which holds one value.
    fs::path otherDatabase(const std::u16string& text) {
        const fs::path other = folder() / "other";
        fs::remove_all(other);
        fs::create_directory(other);
        setenv("NORQSTD_REGISTRY_USER", other.c_str(), 1);
        EXPECT_EQ(StoreKey(u"key").set(u"value", text), 0);
        platform::closeRegistryHives();
        setenv("NORQSTD_REGISTRY_USER", folder().c_str(), 1);
        byHand(other / "user.db", "PRAGMA wal_checkpoint(TRUNCATE)");
        return other / "user.db";
    }
};

std::u16string number(int value) {
    const std::string text = std::to_string(value);
    return {text.begin(), text.end()};
}

TEST_F(RegistryStoreTest, FilesAreMadeByTheFirstWriteForWhomTheyAreMeant) {
    const fs::path deep = folder() / "a" / "b";
    setenv("NORQSTD_REGISTRY_USER", deep.c_str(), 1);
    EXPECT_EQ(StoreKey(u"", User, norq_std::KEY_READ).error, 0);
    EXPECT_EQ(StoreKey(u"key", User, norq_std::KEY_READ).error, 2);
    EXPECT_EQ(platform::deleteRegistryTree(User, u"key"), 2);
    EXPECT_FALSE(fs::exists(deep));
    const mode_t before = umask(0);
    EXPECT_EQ(StoreKey(u"key").error, 0);
    umask(077);
    EXPECT_EQ(StoreKey(u"key", Machine).error, 0);
    umask(before);
    const auto mode = [](const fs::path& path) { return static_cast<unsigned>(fs::status(path).permissions()); };
    EXPECT_EQ(mode(deep), 0700u);
    for (const char* suffix : {"", "-wal", "-shm", "-changes"}) {
        EXPECT_EQ(mode(deep / ("user.db" + std::string(suffix))), 0600u) << suffix;
        EXPECT_EQ(mode(folder() / ("machine.db" + std::string(suffix))), 0644u) << suffix;
    }
}

TEST_F(RegistryStoreTest, ProcessesAndThreadsWriteAtOnceAndLoseNothing) {
    const int processes = 4;
    const int threads = 2;
    const int writes = static_cast<int>(rounds(150));
    const StoreKey early(u"shared"); // used in all of them
    std::vector<pid_t> children;
    for (int process = 0; process < processes; ++process) {
        children.push_back(fork());
        if (children.back() != 0)
            continue;
        std::vector<std::thread> workers;
        std::atomic<int> failures{0};
        for (int thread = 0; thread < threads; ++thread)
            workers.emplace_back([&, thread] {
                for (int i = 0; i < writes; ++i) {
                    const std::u16string name = number(process) + u"." + number(thread) + u"." + number(i);
                    failures += early.set(name, name) != 0 ? 1 : 0;
                    failures += StoreKey(u"tree\\" + name).error != 0 ? 1 : 0;
                    failures += early.get(name) != name ? 1 : 0;
                }
            });
        for (std::thread& worker : workers)
            worker.join();
        _exit(failures == 0 ? 0 : 1);
    }
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    const auto all = static_cast<std::size_t>(processes * threads * writes);
    std::vector<platform::RegistryEntry> values;
    EXPECT_EQ(platform::listRegistryValues(early.handle, values), 0);
    EXPECT_EQ(values.size(), all);
    std::vector<std::u16string> names;
    EXPECT_EQ(platform::listRegistryKeys(StoreKey(u"tree").handle, names), 0);
    EXPECT_EQ(names.size(), all);
}

/// In a process that may read the files and nothing else.
int asReader(const std::function<bool()>& body) {
    return inChild([&] {
        if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0))
            return 2;
        return body() ? 0 : 1;
    });
}

TEST_F(RegistryStoreTest, WhoMayNotWriteCanReadInEveryState) {
    const std::function<bool()> reads = [] {
        const StoreKey key(u"key", Machine, norq_std::KEY_READ);
        return key.get(u"value") == u"text" && StoreKey(u"key", Machine).error == 5 &&
               StoreKey(u"new", Machine).error == 5 && platform::deleteRegistryTree(Machine, u"key") == 5 &&
               key.get(u"value") == u"text";
    };
    const auto withoutPermission = [&](const char* state) {
        for (const auto& entry : fs::directory_iterator(folder()))
            if (entry.path().filename() != "machine.db-lock")
                fs::permissions(entry.path(), fs::perms(0444));
        fs::permissions(folder(), fs::perms(0555));
        EXPECT_EQ(asReader(reads), 0) << state;
        fs::permissions(folder(), fs::perms(0755));
        for (const auto& entry : fs::directory_iterator(folder()))
            fs::permissions(entry.path(), fs::perms(0644));
    };
    {
        const StoreKey key(u"key", Machine);
        EXPECT_EQ(key.set(u"value", u"text"), 0);
        withoutPermission("beside a writer");
        platform::closeRegistryHives();
        withoutPermission("with a log and nobody else");
    }
    // A tool that closes the database last takes the log with it.
    byHand(machineDatabase(), "SELECT 1 FROM key");
    ASSERT_FALSE(fs::exists(folder() / "machine.db-wal"));
    withoutPermission("without a log");
    byHand(machineDatabase(), "PRAGMA journal_mode=DELETE");
    withoutPermission("with a journal");
}

TEST_F(RegistryStoreTest, WhoeverTheDatabaseIsOpenedToCanWriteIt) {
    EXPECT_EQ(StoreKey(u"key", Machine).set(u"value", u"text"), 0);
    platform::closeRegistryHives();
    fs::permissions(folder(), fs::perms(0777));
    const std::function<bool()> onlyReads = [] {
        return StoreKey(u"key", Machine, norq_std::KEY_READ).get(u"value") == u"text" &&
               StoreKey(u"key", Machine).error == 5;
    };
    for (const char* denied : {"-lock", "-changes"}) {
        for (const char* suffix : {"", "-wal", "-shm", "-changes", "-lock"})
            fs::permissions(machineDatabase().string() + suffix, fs::perms(0666));
        fs::permissions(machineDatabase().string() + denied, fs::perms(denied == std::string("-lock") ? 0 : 0444));
        EXPECT_EQ(asReader(onlyReads), 0) << denied;
    }
    fs::permissions(machineDatabase().string() + "-changes", fs::perms(0666));
    fs::permissions(machineDatabase().string() + "-lock", fs::perms(0600));
    EXPECT_EQ(StoreKey(u"key", Machine).error, 0); // by the owner, who mends the modes
    EXPECT_EQ(fs::status(machineDatabase().string() + "-lock").permissions(), fs::perms(0666));
    const std::function<bool()> writes = [] { return StoreKey(u"key", Machine).set(u"value", u"theirs") == 0; };
    EXPECT_EQ(asReader(writes), 0);
    EXPECT_EQ(StoreKey(u"key", Machine).get(u"value"), u"theirs");
}

TEST_F(RegistryStoreTest, WhatIsNoSoundHiveIsRefusedAndLeftAsItIs) {
    const fs::path sound = folder() / "sound.db";
    EXPECT_EQ(StoreKey(u"key").set(u"value", u"text"), 0);
    platform::closeRegistryHives();
    byHand(userDatabase(), "PRAGMA wal_checkpoint(TRUNCATE)"); // and the log goes
    fs::copy(userDatabase(), sound);
    struct State {
        const char* name;
        std::int32_t error;
        std::function<void()> bring;
    };
    const State states[] = {
        {"empty", 1015, [&] { put(userDatabase(), ""); }},
        {"no database", 1015, [&] { put(userDatabase(), std::string(5000, 'x')); }},
        {"cut off", 1015, [&] { fs::resize_file(userDatabase(), 4096); }},
        {"a folder", 1015, [&] { fs::remove(userDatabase()), fs::create_directory(userDatabase()); }},
        {"lost", 1015, [&] { fs::remove(userDatabase()); }},
        {"newer", 1150, [&] { byHand(userDatabase(), "PRAGMA user_version=2"); }},
        {"older than any", 1015, [&] { byHand(userDatabase(), "PRAGMA user_version=0"); }},
        {"somebody else's", 1015, [&] { byHand(userDatabase(), "PRAGMA application_id=1"); }},
        {"without its tables", 1015, [&] { byHand(userDatabase(), "DROP TABLE value"); }},
        {"with a trigger", 1015,
         [&] { byHand(userDatabase(), "CREATE TRIGGER t AFTER INSERT ON key BEGIN DELETE FROM value; END"); }}};
    for (const State& state : states) {
        fs::remove_all(userDatabase());
        fs::copy(sound, userDatabase());
        state.bring();
        const std::string before = fs::is_regular_file(userDatabase()) ? got(userDatabase()) : "";
        EXPECT_EQ(StoreKey(u"key", User, norq_std::KEY_READ).error, state.error) << state.name;
        EXPECT_EQ(StoreKey(u"key").error, state.error) << state.name;
        EXPECT_FALSE(platform::registryFailure().empty()) << state.name;
        EXPECT_EQ(fs::is_regular_file(userDatabase()) ? got(userDatabase()) : "", before) << state.name;
    }
    fs::remove_all(userDatabase());
    fs::copy(sound, userDatabase());
    EXPECT_EQ(StoreKey(u"key").get(u"value"), u"text");
    platform::closeRegistryHives();

    // All files gone is a hive that never was.
    for (const char* suffix : {"", "-wal", "-shm", "-changes"})
        fs::remove(userDatabase().string() + suffix);
    EXPECT_EQ(StoreKey(u"key", User, norq_std::KEY_READ).error, 2);
    EXPECT_EQ(StoreKey(u"key").error, 0);
}

TEST_F(RegistryStoreTest, DamageInsideIsToldAndNeverFatal) {
    {
        const StoreKey key(u"key");
        for (int i = 0; i < 300; ++i)
            EXPECT_EQ(key.set(number(i), std::u16string(100, u'v')), 0);
    }
    platform::closeRegistryHives();
    byHand(userDatabase(), "PRAGMA wal_checkpoint(TRUNCATE)");
    const std::string sound = got(userDatabase());
    int refused = 0;
    for (std::size_t page = 1; page < sound.size() / 4096; ++page) {
        std::string damaged = sound;
        damaged.replace(page * 4096, 64, 64, '\xFF');
        put(userDatabase(), damaged);
        const StoreKey key(u"key");
        std::vector<platform::RegistryEntry> values;
        const std::int32_t failed = key.error != 0 ? key.error : platform::listRegistryValues(key.handle, values);
        EXPECT_TRUE(failed == 1015 || (failed == 0 && values.size() == 300)) << failed;
        refused += failed == 1015 ? 1 : 0;
        platform::closeRegistryHives();
    }
    EXPECT_GT(refused, 5);
}

TEST_F(RegistryStoreTest, AFailedCommitIsToldInItsOwnWords) {
    EXPECT_EQ(StoreKey(u"key").error, 0);
    EXPECT_EQ(inChild([] {
                  const StoreKey key(u"key"); // opens the database
                  const rlimit none{1, 1};
                  if (std::signal(SIGXFSZ, SIG_IGN) == SIG_ERR || setrlimit(RLIMIT_FSIZE, &none) != 0)
                      return 2;
                  const bool failed = StoreKey(u"new").error != 0;
                  const std::u16string words = platform::registryFailure();
                  return failed && words.find(u"user.db: ") != words.npos && words.find(u"transaction") == words.npos
                             ? 0
                             : 1;
              }),
              0);
    EXPECT_EQ(StoreKey(u"new", User, norq_std::KEY_READ).error, 2);
}

TEST_F(RegistryStoreTest, AnotherDatabaseInItsPlaceIsNoticedAtOnce) {
    const fs::path other = otherDatabase(u"other");
    const StoreKey key(u"key");
    const StoreKey gone(u"gone");
    EXPECT_EQ(key.set(u"value", u"first"), 0);
    EXPECT_EQ(key.set(u"only", u"first"), 0);
    EXPECT_TRUE(fs::exists(userDatabase().string() + "-wal")); // which must not be applied to the other
    fs::rename(other, userDatabase());
    EXPECT_EQ(StoreKey(u"key").get(u"value"), u"other");
    EXPECT_EQ(key.get(u"value"), u"other");
    EXPECT_EQ(key.get(u"only"), u"error 2");
    EXPECT_EQ(gone.get(u"value"), u"error 1018");
    EXPECT_EQ(key.set(u"value", u"second"), 0);
    EXPECT_EQ(inChild([] { return StoreKey(u"key").get(u"value") == u"second" ? 0 : 1; }), 0);

    // Also where the first to come is another process.
    platform::closeRegistryHives();
    EXPECT_EQ(key.set(u"value", u"third"), 0);
    fs::rename(otherDatabase(u"fourth"), userDatabase());
    EXPECT_EQ(inChild([] { return StoreKey(u"key").get(u"value") == u"fourth" ? 0 : 1; }), 0);
    EXPECT_EQ(StoreKey(u"key").get(u"value"), u"fourth");
    EXPECT_EQ(key.get(u"value"), u"fourth");
    byHand(userDatabase(), "PRAGMA integrity_check");

    fs::remove(userDatabase());
    EXPECT_EQ(key.set(u"value", u"x"), 1015);
    EXPECT_EQ(key.get(u"value"), u"error 1015");
}

TEST_F(RegistryStoreTest, AFolderThatWasMovedAwayIsNotWrittenTo) {
    const fs::path place = folder() / "place";
    const fs::path away = folder() / "away";
    setenv("NORQSTD_REGISTRY_USER", place.c_str(), 1);
    const StoreKey key(u"key");
    EXPECT_EQ(key.set(u"value", u"old"), 0);
    otherDatabase(u"other");
    fs::rename(place, away);
    fs::rename(folder() / "other", place);
    EXPECT_EQ(key.set(u"more", u"new"), 0);
    setenv("NORQSTD_REGISTRY_USER", place.c_str(), 1);
    EXPECT_EQ(StoreKey(u"key").get(u"more"), u"new");
    fs::rename(place, folder() / "second");
    EXPECT_TRUE(eventually([&] { return key.get(u"value") == u"error 1018"; }));
    EXPECT_EQ(key.set(u"value", u"lost"), 1018);
    setenv("NORQSTD_REGISTRY_USER", away.c_str(), 1);
    EXPECT_EQ(StoreKey(u"key").get(u"more"), u"error 2");
    EXPECT_EQ(StoreKey(u"key").get(u"value"), u"old");
}

TEST_F(RegistryStoreTest, AKeyIsNeverAnotherOneAfterARestore) {
    const fs::path backup = folder() / "backup.db";
    EXPECT_EQ(StoreKey(u"kept").set(u"value", u"old"), 0);
    byHand(userDatabase(), "VACUUM INTO '" + backup.string() + "'");
    const StoreKey kept(u"kept");
    const StoreKey mine(u"mine");
    EXPECT_EQ(mine.set(u"value", u"mine"), 0);
    EXPECT_EQ(kept.set(u"value", u"new"), 0);
    sqlite3* from = nullptr;
    sqlite3* into = nullptr;
    ASSERT_EQ(sqlite3_open(backup.c_str(), &from), SQLITE_OK);
    ASSERT_EQ(sqlite3_open(userDatabase().c_str(), &into), SQLITE_OK);
    sqlite3_backup* const restore = sqlite3_backup_init(into, "main", from, "main");
    EXPECT_EQ(sqlite3_backup_step(restore, -1), SQLITE_DONE);
    EXPECT_EQ(sqlite3_backup_finish(restore), SQLITE_OK);
    sqlite3_close(from);
    sqlite3_close(into);
    EXPECT_EQ(inChild([] { return StoreKey(u"other").set(u"value", u"other"); }), 0);
    EXPECT_EQ(kept.get(u"value"), u"old");
    EXPECT_EQ(mine.get(u"value"), u"error 1018");
    EXPECT_EQ(mine.set(u"value", u"mine"), 1018);
    EXPECT_EQ(StoreKey(u"other").get(u"value"), u"other");
}

TEST_F(RegistryStoreTest, AKilledWriterLeavesTheOldOrTheNew) {
    const char* const asked = std::getenv("NORQSTD_TEST_KILL_ROUNDS");
    const std::size_t count = asked != nullptr ? std::strtoul(asked, nullptr, 10) : rounds(20);
    unsigned random = 7;
    const auto writeForEver = [&] {
        for (char16_t unit = u'a';; unit = unit == u'z' ? u'a' : static_cast<char16_t>(unit + 1)) {
            const StoreKey key(u"key");
            key.set(u"value", std::u16string(8000, unit));
            StoreKey(u"tree\\b\\c").set(u"value", u"x");
            static_cast<void>(platform::deleteRegistryTree(User, u"tree"));
        }
    };
    for (std::size_t round = 0; round < count; ++round) {
        const pid_t child = fork();
        if (child == 0)
            writeForEver();
        random = random * 48271u % 2147483647u;
        std::this_thread::sleep_for(std::chrono::microseconds(random % 20000)); // the moment of the kill
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        const StoreKey key(u"key");
        const std::u16string text = key.get(u"value");
        ASSERT_TRUE(text == u"error 2" || text == std::u16string(8000, text[0])) << round;
        const StoreKey tree(u"tree", User, norq_std::KEY_READ);
        if (tree.error == 0) {
            ASSERT_EQ(StoreKey(u"tree\\b\\c", User, norq_std::KEY_READ).error, 0) << round;
        } else {
            ASSERT_EQ(tree.error, 2) << round;
        }
        ASSERT_EQ(key.set(u"value", text[0] == u'e' ? std::u16string(8000, u'e') : text), 0) << round;
        platform::closeRegistryHives();
    }
}

} // namespace

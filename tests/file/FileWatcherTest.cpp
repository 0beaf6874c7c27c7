// Files and directories that change in every way that a machine knows, and what listeners hear of it.

#include "file/FileWatcher.h"

#include "support/Actor.h"
#include "support/DebugCapture.h"
#include "support/FileCalls.h"
#include "support/NothingLeft.h"
#include "support/Rerun.h"

#include "exception/NorqException.h"
#include "windows/FileWatcherImpl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <latch>
#include <memory>

#include <sys/mount.h>

namespace fs = std::filesystem;
using namespace norqstd_test;
using norq_std::FileWatcher;
using norq_std_internal::FileWatcherImpl;
using Texts = std::vector<std::string>;

namespace {

std::size_t watchesOfProcess() {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator("/proc/self/fdinfo")) {
        std::ifstream file(entry.path());
        for (std::string line; std::getline(file, line);)
            count += line.starts_with("inotify wd:");
    }
    return count;
}

void shell(const std::string& command) { ASSERT_EQ(std::system(command.c_str()), 0) << command; }

/// Where a listener is held up; shared, since the listener may leave it late.
struct Gate {
    std::latch held{1}, release{1};
    void pass() {
        held.count_down();
        release.wait();
    }
};

/// A watcher of its own, so that its end is tested too, with a directory "d" of two files and a marker behind them.
class FileWatcherTest : public NothingLeft {
protected:
    void SetUp() override {
        fs::create_directories(d());
        for (const char* name : {"a.cfg", "b.cfg"})
            write(d() / name, "first");
        write(d() / "zz", "");
        watcher->start();
        add({"a.cfg", "b.cfg", "zz"});
    }
    void TearDown() override {
        watcher.reset();
        NothingLeft::TearDown();
    }

    fs::path d() { return folder() / "d"; }
    void add(std::initializer_list<const char*> names) {
        for (const char* name : names)
            watcher->addListener(calls, fileOf(d() / name));
    }
    /// What was told so far: the marker comes behind it. It comes and goes, which is told once, where a write may be
    /// told for its time and again for its size.
    Texts told() {
        if (fs::remove(d() / "zz"))
            return calls->until("deleted zz");
        write(d() / "zz", "");
        return calls->until("created zz");
    }
    /// Runs `step` while the watcher's thread is held up in a listener.
    void whileHeldUp(const std::function<void()>& step) {
        fs::create_directories(folder() / "held");
        const auto holding = std::make_shared<FileCalls>();
        const auto gate = std::make_shared<Gate>();
        holding->inEachCall([gate] { gate->pass(); });
        watcher->addListener(holding, fileOf(folder() / "held" / "file"));
        fs::create_directory(folder() / "held" / "file");
        gate->held.wait();
        watcher->removeListener(holding);
        step();
        gate->release.count_down();
    }

    std::shared_ptr<FileCalls> calls = std::make_shared<FileCalls>();
    std::unique_ptr<FileWatcherImpl> watcher = std::make_unique<FileWatcherImpl>();
};

} // namespace

TEST_F(FileWatcherTest, EachWayToChangeAFileIsTold) {
    const std::string a = (d() / "a.cfg").string();
    const std::string other = (d() / "other").string();
    const struct {
        std::string command;
        std::string told;
    } rows[] = {
        {"printf more >> " + a, "content a.cfg"},
        {"truncate -s 2 " + a, "content a.cfg"},
        {"touch -d '2001-02-03 04:05:06' " + a, "content a.cfg"},
        {"touch " + a, "content a.cfg"},
        {"chmod 600 " + a, "attributes a.cfg"},
        {"printf replaced > " + other + "; chmod 600 " + other + "; mv " + other + " " + a, "content a.cfg"},
        {"printf copied-over-it > " + other + "; cp " + other + " " + a, "content a.cfg"},
        {"rm " + a, "deleted a.cfg"},
        {"printf new > " + a, "created a.cfg"},
        {"mv " + a + " " + other, "deleted a.cfg"},
        {"mv " + other + " " + a, "created a.cfg"},
        {"printf x > " + other + "; ln -sf " + other + " " + a, "content a.cfg"},
        {"printf longer > " + other, "content a.cfg"}, // through the link
        {"rm " + other, "deleted a.cfg"},
        {"rm -f " + a + "; mkdir " + a, "created a.cfg"},
    };
    for (const auto& row : rows) {
        shell(row.command);
        const Texts heard = told();
        EXPECT_NE(std::find(heard.begin(), heard.end(), row.told), heard.end()) << row.command;
    }
    shell("touch " + other + "; chmod 600 " + (d() / "b.cfg").string() + "; rm " + other);
    EXPECT_EQ(told(), Texts{"attributes b.cfg"}) << "files that nobody registered are not told";
}

TEST_F(FileWatcherTest, RegistrationsAreKeptOncePerFileWhateverTheCase) {
    watcher->addListener(nullptr, fileOf(d() / "a.cfg"));
    watcher->addListener(calls, fileOf(d() / "A.CFG"));
    watcher->addListener(calls, fileOf(d() / "x" / ".." / "a.cfg"));
    const auto second = std::make_shared<FileCalls>();
    watcher->addListener(second, fileOf(d() / "a.cfg"));
    add({"absent"});
    write(d() / "a.cfg", "more", std::ios::app);
    EXPECT_EQ(told(), Texts{"content a.cfg"});
    EXPECT_EQ(second->next(), "content a.cfg");
    watcher->removeListener(second, fileOf(d() / "A.CFG"));
    write(d() / "absent", "");
    write(d() / "a.cfg", "more", std::ios::app);
    EXPECT_EQ(told(), (Texts{"created absent", "content a.cfg"}));
    watcher->addListener(second, fileOf(d() / "b.cfg"));
    write(d() / "b.cfg", "more", std::ios::app);
    EXPECT_EQ(second->next(), "content b.cfg") << "what was removed is not told";
}

TEST_F(FileWatcherTest, TheLastListenerOfADirectoryTakesTheWatchesAlong) {
    const DebugCapture capture;
    EXPECT_GT(watchesOfProcess(), 2u);
    watcher->removeListener(calls);
    EXPECT_TRUE(eventually([] { return watchesOfProcess() == 0; }));
    EXPECT_EQ(capture.count(u"Subscriber list for file <"), 3u);
    EXPECT_EQ(capture.count(u"d> is empty; removing."), 1u);
    add({"a.cfg", "zz"});
    write(d() / "a.cfg", "more", std::ios::app);
    EXPECT_EQ(told(), Texts{"content a.cfg"});
}

TEST_F(FileWatcherTest, ALookAtAllFilesTellsTheLastInOrderAndStoresTheOthers) {
    fs::create_directory(folder() / "e");
    for (const char* name : {"a.cfg", "b.cfg", "zz"})
        write(folder() / "e" / name, "other content");
    whileHeldUp([&] {
        fs::rename(d(), folder() / "old");
        fs::rename(folder() / "e", d());
    });
    EXPECT_EQ(calls->next(), "content zz");
    write(d() / "a.cfg", "", std::ios::app); // opened for writing and closed: looked at, and found as it was stored
    fs::permissions(d() / "b.cfg", fs::perms::owner_all);
    EXPECT_EQ(told(), Texts{"attributes b.cfg"});
}

TEST_F(FileWatcherTest, FilesThatChangeTogetherAreEachTold) {
    whileHeldUp([&] {
        for (const char* name : {"b.cfg", "a.cfg", "b.cfg"})
            write(d() / name, "more", std::ios::app);
    });
    EXPECT_EQ(told(), (Texts{"content b.cfg", "content a.cfg"}));
}

TEST_F(FileWatcherTest, ADirectoryIsFollowedByItsPath) {
    const fs::path top = folder() / "t" / "u";
    fs::create_directories(top / "v");
    fs::create_directories(folder() / "release-1");
    fs::create_directories(folder() / "release-2");
    write(folder() / "release-1" / "file", "1");
    write(folder() / "release-2" / "file", "two");
    fs::create_directory_symlink("release-1", folder() / "current");
    write(top / "v" / "file", "x");
    watcher->addListener(calls, fileOf(top / "v" / "file"));
    watcher->addListener(calls, fileOf(folder() / "current" / "file"));
    const std::string f = folder().string();
    const struct {
        std::string command;
        std::string told;
    } rows[] = {
        {"mv " + f + "/t " + f + "/moved", "deleted file"},
        {"mv " + f + "/moved " + f + "/t", "created file"},
        {"mv " + f + "/t/u/v " + f + "/t/u/w", "deleted file"},
        {"mkdir " + f + "/t/u/v; printf y > " + f + "/t/u/v/file", "created file"},
        {"rm -r " + f + "/t", "deleted file"},
        {"mkdir -p " + f + "/t/u/v; printf zz > " + f + "/t/u/v/file", "created file"},
        {"printf more >> " + f + "/t/u/v/file", "content file"},
        {"ln -sfn release-2 " + f + "/current", "content file"},
        {"printf more >> " + f + "/release-2/file", "content file"},
        {"mv " + f + "/release-2 " + f + "/gone", "deleted file"},
        {"mv " + f + "/gone " + f + "/release-2", "created file"},
        // Removed while somebody stands in it, which keeps the directory, but not its path, alive.
        {"cd " + f + "/t/u/v && rm -r " + f + "/t/u/v && mkdir " + f + "/t/u/v && printf q > " + f + "/t/u/v/file",
         "either"},
        {"printf more >> " + f + "/t/u/v/file", "content file"},
    };
    for (const auto& row : rows) {
        shell(row.command);
        if (row.told == "either") { // the change of the content, or the end and the beginning
            if (calls->next() == "deleted file") {
                EXPECT_EQ(calls->next(), "created file");
            }
            continue;
        }
        for (std::string call; call != row.told;)
            ASSERT_NE(call = calls->next(), "nothing") << row.command << ": " << row.told;
    }
}

TEST_F(FileWatcherTest, AMountIsFollowed) {
    const fs::path point = d() / "mounted";
    fs::create_directory(point);
    write(point / "file", "below");
    watcher->addListener(calls, fileOf(point / "file"));
    if (mount("tmpfs", point.c_str(), "tmpfs", 0, nullptr) != 0) {
        std::cout << "mounting is left out: " << std::strerror(errno) << "; the directory is replaced instead\n";
        fs::rename(point, d() / "away");
        fs::create_directory(point);
        EXPECT_EQ(calls->next(), "deleted file");
        return;
    }
    EXPECT_EQ(calls->next(), "deleted file");
    write(point / "file", "on the mount");
    EXPECT_EQ(calls->next(), "created file");
    EXPECT_TRUE(eventually([&] { return umount(point.c_str()) == 0; })) << "the watcher looks at the file for good";
    EXPECT_EQ(calls->next(), "content file") << "the file below is another one";
    write(point / "file", "below again, and longer");
    EXPECT_EQ(calls->next(), "content file");
}

TEST_F(FileWatcherTest, NotificationsThatTheKernelDroppedLoseNoChange) {
    std::size_t limit = 0;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> limit;
    ASSERT_GT(limit, 0u);
    whileHeldUp([&] {
        for (std::size_t i = 0; i <= limit / 2; ++i) { // two notifications each
            fs::create_hard_link(d() / "b.cfg", d() / "noise");
            fs::remove(d() / "noise");
        }
        fs::remove(d() / "a.cfg");
    });
    EXPECT_EQ(calls->next(), "deleted a.cfg");
}

TEST_F(FileWatcherTest, ADirectoryThatCannotBeWatchedIsRefusedAndTriedAgain) {
    const DebugCapture capture;
    const fs::path later = folder() / "later" / "file";
    try {
        watcher->addListener(calls, fileOf(later));
        FAIL() << "a directory that is not there";
    } catch (const norq_std::NorqIOException& failure) {
        EXPECT_EQ(failure.getMessage(), u"Could not monitor directory");
        EXPECT_EQ(failure.getErrNum(), 2);
    }
    EXPECT_EQ(capture.count(u"later> : '2:No such file or directory'"), 1u);
    fs::create_directory(later.parent_path());
    watcher->addListener(calls, fileOf(later));
    write(later, "");
    EXPECT_EQ(calls->next(), "created file");
}

TEST_F(FileWatcherTest, MoreDirectoriesThanAWaitUsedToTake) {
    std::vector<fs::path> files;
    for (int i = 0; i < 200; ++i) {
        fs::create_directory(folder() / std::to_string(i));
        files.push_back(folder() / std::to_string(i) / ("file" + std::to_string(i)));
        watcher->addListener(calls, fileOf(files.back()));
    }
    for (const fs::path& file : files) {
        write(file, "");
        ASSERT_EQ(calls->next(), "created " + file.filename().string());
    }
}

TEST_F(FileWatcherTest, ManyFilesOfADirectoryAreEachHeardOf) {
    constexpr int Count = 10'000;
    for (int i = 0; i < Count; ++i) {
        fs::create_hard_link(d() / "b.cfg", d() / ("file" + std::to_string(i)));
        watcher->addListener(calls, fileOf(d() / ("file" + std::to_string(i))));
    }
    EXPECT_EQ(told(), Texts{});
    for (int i = 0; i < Count; i += 10) {
        fs::remove(d() / ("file" + std::to_string(i)));
        ASSERT_EQ(calls->next(), "deleted file" + std::to_string(i));
    }
}

TEST_F(FileWatcherTest, AListenerMayRegisterAndRemoveWhileItIsCalled) {
    const auto late = std::make_shared<FileCalls>();
    const auto gate = std::make_shared<Gate>();
    calls->inEachCall([=, this] {
        calls->inEachCall([] {});
        watcher->removeListener(calls);
        watcher->addListener(late, fileOf(d() / "b.cfg"));
        gate->held.count_down();
    });
    write(d() / "a.cfg", "changed");
    gate->held.wait();
    write(d() / "b.cfg", "more", std::ios::app);
    EXPECT_EQ(late->next(), "content b.cfg");
    EXPECT_EQ(calls->until("content a.cfg"), Texts{});
}

TEST_F(FileWatcherTest, AnExceptionOfAListenerEndsTheThread) {
    const DebugCapture capture;
    calls->inEachCall([] { throw norq_std::NorqIllegalStateException(u"a listener's own"); });
    write(d() / "a.cfg", "changed");
    EXPECT_TRUE(watcher->join(longLimitMillis()));
    EXPECT_EQ(capture.count(u"terminated unexpectedly. Reason: a listener's own"), 1u);
}

TEST_F(FileWatcherTest, TheObjectMayGoWhileAListenerRuns) {
    const auto gate = std::make_shared<Gate>();
    calls->inEachCall([gate] { gate->pass(); });
    write(d() / "a.cfg", "changed");
    gate->held.wait();
    watcher.reset();
    gate->release.count_down(); // the fixture waits for the thread
}

// ---- the process

TEST(FileWatcherProcessTest, ExitWhileTheThreadRunsIsSilent) {
    if (Rerun::inside()) {
        std::string name = (fs::temp_directory_path() / "norqstd-exit-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        const auto calls = std::make_shared<FileCalls>();
        FileWatcher::addListener(calls, fileOf(fs::path(name) / "file"));
        write(fs::path(name) / "file", "");
        EXPECT_EQ(calls->next(), "created file");
        FileWatcher::removeListener(calls, fileOf(fs::path(name) / "file"));
        FileWatcher::removeListener(calls);
        fs::remove_all(name);
        return;
    }
    EXPECT_EQ(Rerun("FileWatcherProcessTest.ExitWhileTheThreadRunsIsSilent").errors(), "");
}

TEST(FileWatcherProcessTest, AUsedUpLimitOfWatchesNamesTheSetting) {
    if (!Rerun::inside()) {
        const Rerun run("FileWatcherProcessTest.AUsedUpLimitOfWatchesNamesTheSetting",
                        "unshare -U -r sh -c 'echo 8 > /proc/sys/user/max_inotify_watches && exec \"$0\" \"$@\"' ");
        if (run.refused())
            std::cout << "a lowered limit is left out: no user namespace here\n";
        else
            EXPECT_EQ(run.errors(), "");
        return;
    }
    std::string name = (fs::temp_directory_path() / "norqstd-limit-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    const auto calls = std::make_shared<FileCalls>();
    const auto fileIn = [&](int i) { return fs::path(name) / std::to_string(i) / ("file" + std::to_string(i)); };
    int watched = 0;
    for (; watched < 20; ++watched) {
        fs::create_directory(fileIn(watched).parent_path());
        try {
            FileWatcher::addListener(calls, fileOf(fileIn(watched)));
        } catch (const norq_std::NorqIOException& failure) {
            EXPECT_TRUE(failure.getMessage().starts_with(u"Could not monitor directory: "));
            EXPECT_NE(failure.getMessage().find(u"fs.inotify.max_user_watches"), norq_std::WString::npos);
            EXPECT_EQ(failure.getErrNum(), 112);
            break;
        }
    }
    EXPECT_GT(watched, 0);
    EXPECT_LT(watched, 8);
    write(fileIn(0), "");
    EXPECT_EQ(calls->next(), "created file0") << "the others go on";
    FileWatcher::removeListener(calls, fileOf(fileIn(0)));
    for (bool added = false; !added;) // the thread gives the watch back in its own time
        try {
            FileWatcher::addListener(calls, fileOf(fileIn(watched)));
            added = true;
        } catch (const norq_std::NorqIOException&) {
        }
    write(fileIn(watched), "");
    EXPECT_EQ(calls->next(), "created file" + std::to_string(watched)) << "and there is room again";
    fs::remove_all(name);
}

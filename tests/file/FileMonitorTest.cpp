// The watchdog and the monitor on top of it, on real files.

#include "file/FileMonitor.h"

#include "support/DebugCapture.h"
#include "support/FileCalls.h"
#include "support/NothingLeft.h"

#include "exception/NorqException.h"
#include "file/CFileWatchdog.h"
#include "file/FileEventListener.h"

#include <chrono>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using namespace norqstd_test;
using norq_std::WString;
using NorqStd::CFileWatchdog;
using NorqStd::CWatchdogEvent;
using NorqStd::SWString;

namespace {

constexpr std::uint32_t Everything = 0x1570018;

class WatchdogTest : public NothingLeft {
protected:
    SWString directory() { return norq_std::UtfUtils::utf8ToUtf16(folder().string() + "/"); }
    void start(CFileWatchdog& dog, std::uint32_t filter, std::initializer_list<const char16_t*> names) {
        ASSERT_EQ(dog.SetDirectory(directory()), 0);
        for (const char16_t* name : names)
            ASSERT_EQ(dog.AddFileToList(SWString(name)), 0);
        dog.SetFilter(filter);
        ASSERT_EQ(dog.StartWatching(), 0);
    }
    /// The next event as "NAME TYPE".
    std::string next(CFileWatchdog& dog) {
        CWatchdogEvent event;
        if (!dog.WaitForEvent(longLimitMillis()) || dog.GetFileEvent(event) != 0)
            return "nothing";
        std::ostringstream text;
        text << event.name.utf8_str() << " " << std::hex << event.type;
        return text.str();
    }
};

class EventCalls : public norq_std::FileEventListener, public Reports {
public:
    void fileDeleted(const WString& d, const WString& f) override { report("deleted", d, f); }
    void fileCreated(const WString& d, const WString& f) override { report("created", d, f); }
    void fileAttributeChanged(const WString& d, const WString& f) override { report("attributes", d, f); }
    void fileSizeChanged(const WString& d, const WString& f) override { report("size", d, f); }
    void fileLastWriteTimeChanged(const WString& d, const WString& f) override { report("written", d, f); }

private:
    void report(const std::string& what, const WString& directory, const WString& file) {
        EXPECT_EQ(directory.back(), u'\\');
        reportAndRun(what + " " + norq_std::UtfUtils::utf16ToUtf8(file));
    }
};

} // namespace

TEST_F(WatchdogTest, ResultsNameWhatIsMissing) {
    CFileWatchdog dog;
    EXPECT_TRUE(dog.GetInitFlag());
    EXPECT_EQ(dog.StartWatching(), -2);
    EXPECT_EQ(dog.AddFileToList(SWString(u"a")), -2);
    EXPECT_EQ(dog.AddFileToList(SWString()), -5);
    EXPECT_EQ(dog.RemoveFileFromList(SWString()), -5);
    for (const SWString& bad : {SWString(), SWString(u"\\no such directory\\"), SWString(260, u'x')})
        EXPECT_EQ(dog.SetDirectory(bad), -6);
    EXPECT_EQ(dog.SetDirectory(directory()), 0);
    EXPECT_EQ(dog.StartWatching(), -1);
    EXPECT_EQ(dog.AddFileToList(SWString(u"a")), 0);
    EXPECT_EQ(dog.AddFileToList(SWString(u"a")), 0);
    std::vector<NorqStd::CWatchdogFile> files;
    dog.GetFileList(files);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].fullPath, directory() + u"a");
    EXPECT_EQ(dog.StartWatching(), -3);
    dog.SetFilter(0x400000);
    EXPECT_EQ(dog.GetFilter(), 0x400001u);
    dog.SetFilter(0x40000);
    EXPECT_EQ(dog.GetFilter(), 0x40004u);
    CWatchdogEvent event;
    event.type = 77;
    EXPECT_EQ(dog.GetFileEvent(event), -7);
    EXPECT_EQ(event.type, 77u);
    EXPECT_EQ(dog.StopWatching(), 0);
    fs::remove_all(folder());
    EXPECT_EQ(dog.StartWatching(), -4);
    fs::create_directory(folder());
    EXPECT_EQ(dog.StartWatching(), -4) << "one that failed does not start again";
}

TEST_F(WatchdogTest, EachDifferenceIsAnEventInTheFixedOrder) {
    write(folder() / "a", "1");
    CFileWatchdog dog;
    start(dog, Everything, {u"a", u"b"});
    EXPECT_EQ(dog.StartWatching(), 0);
    // In one step: what falls into two looks is told in the order of the looks.
    write(folder() / "new", "longer");
    fs::permissions(folder() / "new", fs::perms::owner_read);
    fs::last_write_time(folder() / "new", fs::last_write_time(folder() / "a") - std::chrono::hours(1));
    fs::rename(folder() / "new", folder() / "a");
    for (const char* expected : {"a 40000", "a 8", "a 10"})
        EXPECT_EQ(next(dog), expected);
    write(folder() / "b", "");
    EXPECT_EQ(next(dog), "b 400000");
    fs::remove(folder() / "a");
    EXPECT_EQ(next(dog), "a 1000000");
    EXPECT_EQ(dog.SetFilter(0x1000000), 0) << "stopped and started";
    EXPECT_TRUE(dog.GetWatchingFlag());
    write(folder() / "a", "back, and not reported");
    write(folder() / "b", "larger, and not reported");
    fs::remove(folder() / "b");
    EXPECT_EQ(next(dog), "b 1000000");
    EXPECT_EQ(dog.StopWatching(), 0);
    EXPECT_EQ(dog.StartWatching(), 0);
}

TEST_F(WatchdogTest, WhatDoesNotFitIsThrownAway) {
    CFileWatchdog dog;
    dog.SetMaxListSize(2);
    start(dog, Everything, {u"a", u"b", u"c"});
    for (const char* name : {"c", "b", "a"})
        write(folder() / name, "");
    EXPECT_TRUE(dog.WaitForEvent(longLimitMillis()));
    for (; !dog.GetThrownAwayFlag(); std::this_thread::yield()) {
    }
    EXPECT_EQ(dog.GetEventCount(), 2u);
    dog.ResetThrownAwayFlag();
    dog.SetMaxListSize(1);
    EXPECT_TRUE(dog.GetThrownAwayFlag());
    dog.ClearEventList();
    EXPECT_FALSE(dog.WaitForEvent(0));
}

TEST_F(WatchdogTest, AMonitorTellsItsListenersInItsCategories) {
    const auto calls = std::make_shared<EventCalls>();
    const auto failing = std::make_shared<EventCalls>();
    failing->inEachCall([] { throw 1; });
    const DebugCapture capture;
    norq_std::FileMonitor monitor(fileOf(folder()));
    monitor.addListener(failing);
    monitor.addListener(calls);
    monitor.addListener(calls);
    monitor.addFile(u"a");
    monitor.startMonitoring();
    monitor.startMonitoring();
    write(folder() / "a", "");
    EXPECT_EQ(calls->next(), "created a");
    write(folder() / "a", "longer", std::ios::app);
    EXPECT_EQ(calls->next(), "size a");
    EXPECT_EQ(calls->next(), "written a");
    fs::permissions(folder() / "a", fs::perms::owner_read);
    EXPECT_EQ(calls->next(), "attributes a");
    EXPECT_EQ(capture.count(u", removing it from the list."), 1u);
    monitor.stopMonitoring();
    monitor.clearFileList();
    monitor.addFile(u"b");
    const auto start = [&] {
        for (bool started = false; !started;) // once the thread has come to its end
            try {
                monitor.startMonitoring();
                started = true;
            } catch (const norq_std::NorqIllegalStateException&) {
            }
    };
    calls->inEachCall([&] { // by a listener, from the monitor's own thread
        monitor.stopMonitoring();
        calls->add("stopped");
    });
    start();
    write(folder() / "b", "");
    EXPECT_EQ(calls->next(), "created b");
    EXPECT_EQ(calls->next(), "stopped");
    start();
    calls->inEachCall([] {}); // nothing that needs the monitor runs when it goes
    write(folder() / "b", "larger", std::ios::app);
    EXPECT_EQ(calls->next(), "size b");
}

TEST_F(WatchdogTest, AMonitorRefusesWhatItCannotFollow) {
    const auto refusal = [](const auto& call) -> WString {
        try {
            call();
        } catch (const norq_std::NorqIllegalArgumentException& failure) {
            return failure.getMessage();
        }
        return u"accepted";
    };
    norq_std::FileMonitor monitor;
    EXPECT_EQ(monitor.toString(), u"FileMonitor{}");
    write(folder() / "file", "");
    EXPECT_EQ(refusal([&] { monitor.addFile(u"a"); }), u"file value is not equal to 0.");
    EXPECT_EQ(refusal([&] { monitor.addFile(u""); }), u"filename value is empty.");
    EXPECT_EQ(refusal([&] { monitor.addFile(u"a/b"); }), u"Filename must not contain any slashes.");
    EXPECT_EQ(refusal([&] { monitor.setDirectory(fileOf(folder() / "absent")); }),
              u"Directory to monitor doesn't exist!");
    EXPECT_EQ(refusal([&] { monitor.setDirectory(fileOf(folder() / "file")); }), u"directory value is not equal to 0.");
    monitor.setDirectory(fileOf(folder()));
    EXPECT_EQ(monitor.getDirectory(), fileOf(folder()));
    const DebugCapture log;
    monitor.startMonitoring(); // without a file
    EXPECT_EQ(log.count(u"Nothing is followed: the watchdog gave -1."), 1u);
}

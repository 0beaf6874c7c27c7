#include "process/Process.h"

#include "exception/NorqException.h"
#include "platform/Error.h"
#include "platform/Process.h"
#include "process/Children.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <list>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>

namespace norqstd_test {
namespace {

using namespace norq_std;
using std::filesystem::perms;

class ProcessTest : public Children {
protected:
    /// What a start throws: its text, and its number in front; empty if nothing.
    static std::string failure(const std::filesystem::path& program, const WString& arguments, const File& directory) {
        try {
            const Process process(at(program), arguments, directory);
            return {};
        } catch (const NorqAccessException& e) {
            return std::to_string(e.getErrNum()) + " " + EncodingUtils::convertUnicodeToUtf8(e.getMessage());
        }
    }
    /// A copy of the child program under a name of its own.
    std::filesystem::path namedProgram(const std::string& name) {
        std::filesystem::copy_file(CHILD_PROGRAM, path(name));
        return path(name);
    }
    std::string uniqueName(const std::string& name) { return name + std::to_string(getpid()); }
};

TEST_F(ProcessTest, GivesTheExitCodeOrTheSignal) {
    for (const auto& [arguments, code] : {std::pair{"exit 0", 0}, {"exit 255", 255}, {"die 15", 143}, {"", 99}}) {
        const Process process = start(arguments);
        ASSERT_TRUE(ends(process)) << arguments;
        EXPECT_FALSE(process.isRunning());
        EXPECT_EQ(process.getExitCode(), code) << arguments;
    }
}

TEST_F(ProcessTest, AChildThatHonoursTheRequestEndsByItself) {
    const std::string event = uniqueName("stop");
    Process process = start("obey" + quoted("report") + event);
    EXPECT_EQ(reported("report"), std::to_string(process.getId()));
    EXPECT_TRUE(process.isRunning());
    EXPECT_THROW(process.getExitCode(), NorqIllegalStateException);
    process.setMaxWaitTime(longLimitMillis());
    process.stop(wide(event));
    EXPECT_EQ(process.getExitCode(), 7);
}

TEST_F(ProcessTest, AChildThatIgnoresTheRequestIsKilled) {
    Process process = start("ignore" + quoted("report"));
    ASSERT_NE(reported("report"), "");
    process.setMaxWaitTime(0);
    process.stop(u"norqstd-test-ignored");
    EXPECT_TRUE(ends(process));
    EXPECT_EQ(process.getExitCode(), 0);
    process.stop(u"norqstd-test-ignored");
    EXPECT_EQ(process.getExitCode(), 0) << "of a process that has ended already";
}

TEST_F(ProcessTest, TheChildGetsWordsDirectoryEnvironmentAndNothingElse) {
    constexpr int Variables = 100;
    const std::string large(10'000, 'x');
    std::size_t bytes = 0;
    for (int i = 0; i < Variables; ++i)
        setenv(("NORQSTD_TEST_" + std::to_string(i)).c_str(), large.c_str(), 1);
    for (char** one = environ; *one != nullptr; ++one)
        bytes += std::string_view(*one).size();
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    const int inheritable = dup(1);

    const Process process(at(CHILD_PROGRAM),
                          wide("tell" + quoted("report") + R"('' "" a"b"'c' $HOME * | > ;  "\$ \" \\ \x \
|" 'it'\''s' '\"' \\ \  )" + "\t\n #5 'Größe 😀' \"new\nline\" C:\\dir"),
                          at(folder()));
    const std::string expected = "<>\n<>\n<abc>\n<$HOME>\n<*>\n<|>\n<>>\n<;>\n<$ \" \\ \\x |>\n<it's>\n<\\\">\n<\\>\n"
                                 "< >\n<#5>\n<Größe 😀>\n<new\nline>\n<C:dir>\n" +
                                 folder().string() + '\n' + std::to_string(bytes) + "\n0 1 2 \n";
    EXPECT_EQ(reported("report"), expected);
    EXPECT_TRUE(ends(process));

    close(inheritable);
    std::signal(SIGPIPE, before);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    for (int i = 0; i < Variables; ++i)
        unsetenv(("NORQSTD_TEST_" + std::to_string(i)).c_str());
}

TEST_F(ProcessTest, WhatCannotBeStartedThrowsAndLeavesNoChild) {
    put(path("data"), "no program");
    put(path("format"), "no program");
    put(path("script"), "#!/no/such/interpreter\n");
    for (const char* program : {"format", "script"})
        std::filesystem::permissions(path(program), perms::owner_all);
    EXPECT_EQ(failure("/no/such/program", u"", File()), "0 File not found: C:\\no\\such\\program");
    EXPECT_EQ(failure(CHILD_PROGRAM, u"", File(u"/no/such/folder")), "0 Working directory does not exist");
    EXPECT_EQ(failure(path("data"), u"", File()), "5 5:Permission denied");
    EXPECT_EQ(failure(folder(), u"", File()), "5 5:Permission denied");
    EXPECT_EQ(failure(path("format"), u"", File()), "193 193:Exec format error");
    EXPECT_EQ(failure(path("script"), u"", File()), "2 2:No such file or directory");
    EXPECT_EQ(failure(CHILD_PROGRAM, u"", at(path("data"))), "3 3:Not a directory");
    EXPECT_EQ(failure(CHILD_PROGRAM, WString(4'000'000, u'x'), File()), "160 160:Argument list too long");
    EXPECT_EQ(failure(CHILD_PROGRAM, WString(1, u'\0'), File()), "87 87:Invalid argument");
    EXPECT_EQ(failure(CHILD_PROGRAM, WString(1, u'\xD800'), File()), "87 87:Invalid argument");
    for (const WString open : {u"'", u"a \"b\\\"", u"\"\\", u"a\\"})
        EXPECT_THROW(Process(at(CHILD_PROGRAM), open, File()), NorqIllegalArgumentException);
    // A working directory that goes between the look at it and the start.
    namespace platform = norq_std_internal::platform;
    EXPECT_EQ(platform::ProcessHandle::start({wide(CHILD_PROGRAM), {}, u"/no/such/folder"}), nullptr);
    EXPECT_EQ(platform::lastError(), platform::FileNotFound);
    EXPECT_TRUE(noneIsLeft());
}

TEST_F(ProcessTest, StartsThoughItsOwnWorkingDirectoryHasVanished) {
    const int before = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    std::filesystem::create_directory(path("gone"));
    std::filesystem::current_path(path("gone"));
    std::filesystem::remove(path("gone"));
    for (const File& directory : {File(), at(folder())}) {
        const Process process(at(CHILD_PROGRAM), u"exit 7", directory);
        EXPECT_TRUE(ends(process));
        EXPECT_EQ(process.getExitCode(), 7);
    }
    EXPECT_EQ(fchdir(before), 0);
    close(before);
}

TEST_F(ProcessTest, TracesTheStartAndLeavesTheEnvironmentOut) {
    const DebugCapture capture(CALL);
    const Process process(at(CHILD_PROGRAM), u"exit 3", at(folder()), std::list<WString>{u"A=B"});
    EXPECT_TRUE(ends(process));
    EXPECT_EQ(process.getExitCode(), 3);
    const WString program = at(CHILD_PROGRAM).getAbsolutePath();
    for (const WString& text :
         {u"Creating process <" + program + u">.", WString(u"Process arguments <exit 3>."),
          u"Process working directory <" + wide(folder()) + u">.",
          WString(u"Warning environment variables not supported on Windows!"), WString(u"Found return code 3.")})
        EXPECT_EQ(capture.count(text), text.starts_with(u"Process w") ? 0U : 1U)
            << EncodingUtils::convertUnicodeToUtf8(text);
    EXPECT_EQ(process.toString(), u"Process{path='" + program + u"'}");
    EXPECT_EQ(process.getProcessPath(), program);
    EXPECT_EQ(process.getProcessName(), u"norqstd-test-child");
}

TEST_F(ProcessTest, AChildWithoutItsObjectIsReapedAtItsEnd) {
    const std::string event = uniqueName("orphans");
    constexpr int Count = 20;
    for (int i = 0; i < Count; ++i) {
        const std::string report = "report" + std::to_string(i);
        const std::shared_ptr<Event> gone = start("obey" + quoted(report) + event).getShutdownEvent();
        EXPECT_TRUE(gone->isSignaled()) << "of an object that is gone";
        ASSERT_NE(reported(report), "");
    }
    EXPECT_FALSE(noneIsLeft());
    Process::getCurrentProcess()->signalShutdown(wide(event));
    EXPECT_TRUE(eventually([] { return noneIsLeft(); }));
}

#if !defined(__SANITIZE_THREAD__) // it allows no new thread in a forked copy of a process with threads
TEST_F(ProcessTest, AForkedCopyReapsItsOwnChildrenAndNoOthers) {
    using norq_std_internal::platform::ProcessHandle;
    const auto sleeper = [] { return ProcessHandle::start({u"/bin/sleep", {u"1000"}, {}}); };
    const auto leave = [](std::shared_ptr<ProcessHandle> child) {
        const auto id = static_cast<pid_t>(child->id());
        child.reset();
        return id;
    };
    const pid_t left = leave(sleeper()); // so that there is a reaper at work
    std::shared_ptr<ProcessHandle> kept = sleeper();
    EXPECT_EQ(inChild([&] {
                  leave(std::move(kept));
                  kill(leave(sleeper()), SIGKILL);
                  return eventually([] { return noneIsLeft(); }) ? 0 : 1;
              }),
              0);
    std::int32_t code = 0;
    EXPECT_TRUE(kept->exitCode(code));
    EXPECT_EQ(code, norq_std_internal::platform::StillActive);
    for (const pid_t child : {left, leave(std::move(kept))})
        kill(child, SIGKILL);
}
#endif

TEST_F(ProcessTest, ThreadsStartAndLeaveChildrenAtOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (std::size_t round = rounds(200); round > 0; --round) {
                const Process left = start("", "/bin/true");
                const Process attached = *Process::getCurrentProcess();
                const Process awaited = start("1", "/bin/false");
                EXPECT_TRUE(ends(awaited));
                EXPECT_EQ(awaited.getExitCode(), 1);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(ProcessTest, ThousandsOfChildrenLeaveNothing) {
    for (std::size_t i = rounds(10'000); i > 0; --i) {
        const Process process = start("", "/bin/true");
        ASSERT_TRUE(ends(process));
        ASSERT_EQ(process.getExitCode(), 0);
        ASSERT_TRUE(noneIsLeft());
    }
}

TEST_F(ProcessTest, AnEndThatTheProgramTakesAwayIsStillNoticed) {
    const auto before = std::signal(SIGCHLD, SIG_IGN); // the system reaps
    const Process process = start("exit 5");
    EXPECT_TRUE(ends(process));
    EXPECT_FALSE(process.isRunning());
    try {
        EXPECT_EQ(process.getExitCode(), 5); // where the kernel keeps it
    } catch (const NorqAccessException& e) {
        EXPECT_EQ(EncodingUtils::convertUnicodeToUtf8(e.getMessage()),
                  "Unable to get process return code. 128:No child processes");
    }
    std::signal(SIGCHLD, before);
}

TEST_F(ProcessTest, AttachesByNameAndByIdAndKillsByName) {
    const std::string name = uniqueName("child-");
    const std::filesystem::path program = namedProgram(name);
    Process first = start("ignore" + quoted("first"), program);
    Process second = start("ignore" + quoted("second"), program);
    ASSERT_NE(reported("first") + reported("second"), "");
    std::filesystem::remove(program); // as an update does
    const auto byName = Process::getProcessByName(wide(name));
    EXPECT_TRUE(byName->getId() == first.getId() || byName->getId() == second.getId());
    EXPECT_EQ(byName->getProcessPath(), first.getProcessPath());
    const auto byId = Process::getProcessById(second.getId());
    EXPECT_EQ(byId->getProcessName(), wide(name));

    Process::killProcessByName(wide(name));
    EXPECT_TRUE(ends(first) && ends(second));
    for (const Process* process : std::initializer_list<const Process*>{&first, &second, byId.get()})
        EXPECT_EQ(process->getExitCode(), 0);
    EXPECT_FALSE(byId->getShutdownEvent()->isSignaled());

    const DebugCapture capture;
    Process::killProcessByName(wide(name));
    EXPECT_EQ(capture.count(u"killing process. Exception: <Unable to retrieve process.>."), 1U);
    EXPECT_THROW(Process::getProcessByName(wide(name)), NorqIllegalArgumentException);
    EXPECT_THROW(Process::getProcessById(second.getId()), NorqAccessException);
    EXPECT_THROW(Process::getProcessById(0), NorqAccessException);
}

TEST_F(ProcessTest, AnAttachedProcessIsKilledAfterTheWholeTime) {
    EXPECT_TRUE(ends(start("orphan ignore" + quoted("ignores"))));
    const auto stranger = Process::getProcessById(static_cast<unsigned>(std::stoul(reported("ignores"))));
    EXPECT_TRUE(stranger->isRunning());
    stranger->setMaxWaitTime(20);
    const auto begin = std::chrono::steady_clock::now();
    stranger->stop(u"norqstd-test-ignored");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
    EXPECT_TRUE(eventually([&] { return !stranger->isRunning(); }));
    EXPECT_EQ(stranger->getExitCode(), 0);
    stranger->stop(u"norqstd-test-ignored");
    EXPECT_THROW(stranger->setPriority(PRIORITY_IDLE), NorqAccessException);
    EXPECT_THROW(stranger->getPriority(), NorqAccessException);
}

TEST_F(ProcessTest, AProcessThatMayNotBeLookedAtCannotBeAttachedTo) {
    EXPECT_TRUE(ends(start("orphan hide" + quoted("hidden"))));
    const std::string id = reported("hidden");
    EXPECT_EQ(inChild([&] {
                  static_cast<void>(setuid(65534)); // an administrator may look at all
                  try {
                      Process::getProcessById(static_cast<unsigned>(std::stoul(id)));
                      return 1;
                  } catch (const NorqAccessException& e) {
                      return e.getMessage().starts_with(u"Failed to open process <" + wide(id) + u">. Error: 5:") ? 0
                                                                                                                  : 2;
                  }
              }),
              0);
    kill(std::stoi(id), SIGKILL);
}

TEST_F(ProcessTest, TheCurrentProcessIsOneToo) {
    const auto current = Process::getCurrentProcess();
    EXPECT_EQ(current->getId(), static_cast<unsigned>(getpid()));
    EXPECT_EQ(Process::getCurrentProcessId(), current->getId());
    EXPECT_EQ(current->getProcessName(), u"norqstd-test-process");
    EXPECT_TRUE(current->isRunning());
}

TEST_F(ProcessTest, PrioritiesReadBack) {
    Process process = start("ignore" + quoted("report"));
    ASSERT_NE(reported("report"), "");
    EXPECT_EQ(process.getPriority(), Process::getCurrentProcess()->getPriority());
    ProcessPriority expected = process.getPriority();
    for (const ProcessPriority priority : {PRIORITY_BELOW_NORMAL, PRIORITY_IDLE, PRIORITY_NORMAL, PRIORITY_ABOVE_NORMAL,
                                           PRIORITY_HIGH, PRIORITY_REALTIME, PRIORITY_NORMAL}) {
        try {
            process.setPriority(priority);
            expected = priority;
        } catch (const NorqAccessException& e) { // an ordinary user may not go up
            EXPECT_TRUE(e.getMessage().starts_with(u"Unable to change process priority5:"));
            EXPECT_LE(priority, expected);
        }
        EXPECT_EQ(process.getPriority(), expected);
    }
    EXPECT_THROW(process.setPriority(static_cast<ProcessPriority>(6)), NorqIllegalArgumentException);
    EXPECT_EQ(process.getPriority(), expected);
    process.setMaxWaitTime(0);
    process.stop({});
}

} // namespace
} // namespace norqstd_test

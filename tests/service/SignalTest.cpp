#include "support/Limits.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using norqstd_test::longLimit;
using Strings = std::vector<std::string>;

/// A program under a terminal of its own, as leader of the session or as job of a shell.
class UnderTerminal {
public:
    UnderTerminal(const Strings& command, bool hangupIgnored) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        reports = ends[0];
        child = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (child == 0) {
            unsetenv("NOTIFY_SOCKET");
            unsetenv("INVOCATION_ID"); // of a manager that runs the tests
            std::signal(SIGHUP, hangupIgnored ? SIG_IGN : SIG_DFL);
            if (ends[1] == 3) // dup2 would leave it to be closed by exec
                fcntl(3, F_SETFD, 0);
            else
                dup2(ends[1], 3);
            std::vector<char*> arguments;
            for (const std::string& word : command)
                arguments.push_back(const_cast<char*>(word.c_str()));
            arguments.push_back(nullptr);
            execvp(arguments[0], arguments.data());
            _exit(98);
        }
        close(ends[1]);
    }
    ~UnderTerminal() {
        if (child > 0) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
        close(reports);
        hangUp();
    }

    void type(const std::string& text) const {
        EXPECT_EQ(write(terminal, text.data(), text.size()), ssize_t(text.size()));
    }
    void hangUp() {
        if (terminal >= 0)
            close(terminal);
        terminal = -1;
    }
    void send(int signal) const { EXPECT_EQ(kill(child, signal), 0); }

    /// Reads until the report ends so, or is at its end.
    const std::string& readTo(const std::string& end) {
        const auto deadline = std::chrono::steady_clock::now() + longLimit();
        while (end.empty() || !report.ends_with(end)) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            pollfd waited[] = {{reports, POLLIN, 0}, {terminal, POLLIN, 0}};
            if (left.count() <= 0 || poll(waited, 2, static_cast<int>(left.count())) <= 0) {
                ADD_FAILURE() << "no " << end << " in " << report << " on the terminal: " << shown;
                break;
            }
            if ((waited[1].revents & POLLIN) != 0)
                take(terminal, shown);
            else if ((waited[1].revents & (POLLHUP | POLLERR)) != 0)
                hangUp();
            if (waited[0].revents != 0 && !take(reports, report))
                break;
        }
        return report;
    }

    std::string status() {
        int result = 0;
        if (testing::Test::HasFailure()) // it may never end
            send(SIGKILL);
        EXPECT_EQ(waitpid(child, &result, 0), child);
        child = -1;
        return WIFSIGNALED(result) ? "signal " + std::to_string(WTERMSIG(result))
                                   : "exit " + std::to_string(WEXITSTATUS(result));
    }

private:
    static bool take(int from, std::string& text) {
        char buffer[500];
        const ssize_t count = read(from, buffer, sizeof buffer);
        text.append(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
        return count > 0;
    }

    pid_t child = -1;
    int terminal = -1;
    int reports = -1;
    std::string report;
    std::string shown;
};

struct Row {
    const char* name;
    std::string words;   ///< what the program is told
    std::string stimuli; ///< "^C", "^\\", "close", "kill N", or a line to wait for
    std::string report;
    std::string status = "exit 5"; ///< how a program ends that has said all
    bool hangupIgnored = false;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

Strings split(const std::string& text, char separator) {
    Strings parts;
    std::istringstream rest(text);
    for (std::string part; std::getline(rest, part, separator);)
        parts.push_back(part);
    return parts;
}

class Signals : public testing::TestWithParam<Row> {};

TEST_P(Signals, AreHandled) {
    const Row& row = GetParam();
    UnderTerminal program(split(SIGNAL_PROGRAM " " + row.words, ' '), row.hangupIgnored);
    for (const std::string& stimulus : split(row.stimuli, ',')) {
        if (stimulus == "^C")
            program.type("\x03");
        else if (stimulus == "^\\")
            program.type("\x1c");
        else if (stimulus == "close")
            program.hangUp();
        else if (stimulus.starts_with("kill "))
            program.send(std::stoi(stimulus.substr(5)));
        else
            program.readTo(stimulus + "\n");
    }
    EXPECT_EQ(split(program.readTo({}), '\n'), split(row.report, ','));
    EXPECT_EQ(program.status(), row.status);
}

std::string nameOf(const testing::TestParamInfo<Row>& test) { return test.param.name; }

// 1 SIGHUP, 2 SIGINT, 3 SIGQUIT, 4 SIGILL, 10 SIGUSR1, 11 SIGSEGV, 15 SIGTERM; events 0 Ctrl-C, 5 log-off.
INSTANTIATE_TEST_SUITE_P(
    Terminal, Signals,
    testing::Values(
        Row{"CtrlCEndsByDefault", "wait 1", "ready,^C", "ready", "signal 2"},
        Row{"CtrlBackslashEndsByDefault", "wait 1", "ready,^\\", "ready", "signal 3"},
        Row{"CloseEndsAsCtrlC", "wait 1", "ready,close", "ready", "signal 2"},
        Row{"EventIsToldOnceAndApart", "register 2 register 15 wait 2", "ready,^C,apart 2,kill 15",
            "ready,apart 2,apart 15"},
        Row{"EventIsTranslated", "register 2 register 15 translate 0 15 wait 1", "ready,^C", "ready,apart 15"},
        Row{"CloseReachesTheHandlerOfItsSignal", "register 2 register 1 wait 2", "ready,close,apart 2,kill 1",
            "ready,apart 2,apart 1"},
        Row{"IgnoredEventRaisesNothing", "translate 0 0 register 2 register 3 wait 1", "ready,^C,^\\", "ready,apart 3"},
        Row{"IgnoredSignalOfAnEvent", "ignore 2 register 3 wait 1", "ready,^C,^\\", "ready,apart 3"},
        Row{"HangUpIgnoredAtStartStaysSo", "register 2 register 1 register 15 wait 2",
            "ready,kill 1,apart 1,close,kill 15", "ready,apart 1,apart 15", "exit 5", true},
        Row{"HangingHandlerDoesNotKeepTheOther", "register-hang 2 wait 1", "ready,^C,hanging 2,^\\", "ready,hanging 2",
            "signal 3"},
        Row{"HangUpPassedOnByAShellIsTheClose", "lead register 2 register 15 wait 2", "ready,close,apart 2,kill 15",
            "ready,apart 2,apart 15,status 5", "exit 0"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Sent, Signals,
    testing::Values(
        Row{"HangUpByKillIsNoEvent", "wait 1", "ready,kill 1", "ready", "signal 1"},
        Row{"InterruptByKillIsNoEvent", "translate 0 15 wait 1", "ready,kill 2", "ready", "signal 2"},
        Row{"OwnSignalIsHandledOnTheSpot", "translate 0 0 register 2 raise 2", "", "here 2"},
        Row{"OwnSignalEndsByDefault", "raise 2", "", "", "signal 2"},
        Row{"UnknownEventEndsByIllegalInstruction", "event 99", "", "", "signal 4"},
        Row{"UnknownEventReachesAHandlerInFrontOfFaults",
            "register 4 translate-faults event 99 raise 4 all-default raise 4", "", "here 4,dealt with 1,here 4",
            "signal 4"},
        Row{"UnknownEventReachesAHandlerBehindFaults",
            "translate-faults register 4 event 99 raise 4 all-default raise 4", "", "here 4,dealt with 1,here 4",
            "signal 4"},
        Row{"DefaultTranslationChanges", "register 15 translate -1 15 event 99 event 5 translate 99 0 event 99", "",
            "here 15,dealt with 1,dealt with 1,dealt with 1"},
        Row{"FaultCallsItsHandlerOnceAndEnds", "register 11 fault", "", "here 11", "signal 11"},
        Row{"ForkedChildHandlesOnTheSpot", "register 15 fork", "", "here 15,status 0"},
        Row{"ReplacedHandlerAndItsRemoval", "register 15 register-too 15 raise 15 deregister 15 raise 15", "", "too 15",
            "signal 15"},
        Row{"EachOfManyHandlersIsCalledOnce",
            "multi register 15 register 15 raise 15 register-too 10 deregister 10 raise 10 deregister 15 raise 15", "",
            "here 15,too 10", "signal 15"},
        Row{"ManyHandlersGoWithTheirObject", "multi-outlives 15 raise 15", "", "", "signal 15"},
        Row{"ManyHandlersGoAtOnce", "multi register 15 register 2 ignore 2 raise 2 all-default raise 2", "", ""}),
    nameOf);

#if !defined(__SANITIZE_THREAD__) // it cannot follow an exception that leaves a signal handler
INSTANTIATE_TEST_SUITE_P(Translated, Signals,
                         testing::Values(Row{"FaultIsNoSignal", "register 11 translate-faults fault-thrown raise 11",
                                             "", "thrown,here 11"}),
                         nameOf);
#endif

INSTANTIATE_TEST_SUITE_P(
    Service, Signals,
    testing::Values(
        Row{"CtrlCStopsPolitely", "service plain", "ready,^C", "onStart,ready,onStop,run ends,true"},
        Row{"ClosedTerminalStopsPolitely", "service plain", "ready,close", "onStart,ready,onStop,run ends,true"},
        Row{"SignalSentTwiceStopsOnce", "service plain", "ready,kill 15,kill 15", "onStart,ready,onStop,run ends,true"},
        Row{"StopsBySignalOfItsOwn", "service raises", "", "onStart,ready,onStop,run ends,true"},
        Row{"OwnHandlerOfTheProgramStays", "service own", "ready,^C,apart 2,kill 15",
            "onStart,ready,apart 2,onStop,run ends,true"},
        Row{"WithoutAManagerItDoesNotRun", "service-mode plain", "", "false"},
        Row{"HangingStopEndsByCtrlBackslash", "service hangs", "ready,^C,hanging 0,^C,^\\",
            "onStart,ready,onStop,hanging 0", "signal 3"}),
    nameOf);

} // namespace

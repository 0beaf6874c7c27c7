// The title of the terminal, in processes under a terminal of their own.

#include "platform/ConsoleTitle.h"

#include "support/Limits.h"

#include "platform/Error.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

using namespace norq_std_internal::platform;

namespace {

struct Shown {
    std::string text; ///< all that the terminal was sent
    int status = -1;
};

/// Runs `body` as a process under a terminal, which takes nothing until the file `ready`, if one is given, can be read.
template <class Body>
Shown underTerminal(const Body& body, int ready = -1) {
    Shown shown;
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        termios settings{};
        tcgetattr(0, &settings);
        settings.c_oflag &= ~static_cast<tcflag_t>(OPOST); // bytes as they are sent
        tcsetattr(0, TCSANOW, &settings);
        _exit(body());
    }
    if (pollfd waited{ready, POLLIN, 0}; ready >= 0) {
        EXPECT_EQ(poll(&waited, 1, norqstd_test::longLimitMillis()), 1);
    }
    char buffer[4096];
    for (pollfd waited{terminal, POLLIN, 0}; poll(&waited, 1, norqstd_test::longLimitMillis()) > 0;) {
        const ssize_t count = read(terminal, buffer, sizeof buffer);
        if (count <= 0)
            break;
        shown.text.append(buffer, static_cast<std::size_t>(count));
    }
    EXPECT_EQ(waitpid(child, &shown.status, 0), child);
    close(terminal);
    return shown;
}

/// What the terminal is sent for one title.
std::string shownFor(std::u16string_view title) {
    const Shown shown = underTerminal([&] { return setConsoleTitle(title) != 0 ? 0 : 1; });
    EXPECT_EQ(shown.status, 0);
    return shown.text;
}

/// Steps of a child, each to hold: the number of the first that does not.
int firstWrong(std::initializer_list<bool> steps) {
    int number = 1;
    for (const bool right : steps) {
        if (!right)
            return number;
        ++number;
    }
    return 0;
}

} // namespace

TEST(ConsoleTitleTest, IsTheTerminalsOwnSequenceAndCannotEndIt) {
    EXPECT_EQ(shownFor(u"Büro 7 \U0001f600"), "\x1b]2;Büro 7 \U0001f600\a");
    EXPECT_EQ(shownFor(u"a\x1b]2;b\a\n\u009c\x7f c\u00a0"), "\x1b]2;a ]2;b     c\u00a0\a") << "no command comes in";
    EXPECT_EQ(shownFor(u"\xd800x"), "\x1b]2;\ufffdx\a");
    const std::string lengthy(70000, 'x');
    EXPECT_EQ(shownFor(std::u16string(lengthy.begin(), lengthy.end())), "\x1b]2;" + lengthy + "\a");
}

TEST(ConsoleTitleTest, IsReadBackAsItWasSet) {
    const Shown shown = underTerminal([] {
        const std::u16string filler(254, u'x');
        return firstWrong({consoleTitle(256).empty(), setConsoleTitle(u"a\nb") != 0, consoleTitle(256) == u"a\nb",
                           consoleTitle(3) == u"a\n", consoleTitle(0).empty(),
                           setConsoleTitle(filler + u"yz") != 0 && consoleTitle(256) == filler + u"y",
                           setConsoleTitle(filler + u"\U0001f600") != 0 && consoleTitle(256) == filler});
    });
    EXPECT_EQ(shown.status, 0);
}

TEST(ConsoleTitleTest, WithoutATerminalThereIsNone) {
    const Shown shown = underTerminal([] {
        const bool set = setConsoleTitle(u"before") != 0;
        std::signal(SIGHUP, SIG_IGN);
        ioctl(0, TIOCNOTTY); // the leader of a session gives its terminal up
        return firstWrong({set, setConsoleTitle(u"after") == 0, lastError() == 20, consoleTitle(256).empty()});
    });
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.text, "\x1b]2;before\a");
}

TEST(ConsoleTitleTest, HeldOutputAndTheBackgroundKeepNobody) {
    const Shown shown = underTerminal([] {
        termios settings{};
        tcgetattr(0, &settings);
        settings.c_lflag |= TOSTOP;
        tcsetattr(0, TCSANOW, &settings);
        const pid_t job = fork();
        if (job == 0) {
            setpgid(0, 0); // the background
            _exit(setConsoleTitle(u"job") != 0 ? 0 : 1);
        }
        int status = -1;
        waitpid(job, &status, WUNTRACED);
        kill(job, SIGKILL);
        tcflow(1, TCOOFF);
        const bool held = setConsoleTitle(u"held") == 0 && lastError() == TimedOut;
        tcflow(1, TCOON);
        return firstWrong({status == 0, held, setConsoleTitle(u"shown") != 0});
    });
    EXPECT_EQ(shown.status, 0);
    EXPECT_TRUE(shown.text.starts_with("\x1b]2;job\a") && shown.text.ends_with("\x1b]2;shown\a")) << shown.text;
}

TEST(ConsoleTitleTest, WhatWasLeftHalfWrittenIsEndedBeforeTheNext) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const Shown shown = underTerminal(
        [&] {
            const bool cut = setConsoleTitle(std::u16string(1'000'000, u'x')) == 0 && lastError() == TimedOut;
            const bool told = write(ready[1], "", 1) == 1;
            return firstWrong({cut, told, setConsoleTitle(u"next") != 0, setConsoleTitle(u"last") != 0});
        },
        ready[0]);
    close(ready[0]);
    close(ready[1]);
    EXPECT_EQ(shown.status, 0);
    EXPECT_TRUE(shown.text.starts_with("\x1b]2;x"));
    EXPECT_EQ(shown.text.substr(shown.text.find_first_not_of('x', 4)), "\a\x1b]2;next\a\x1b]2;last\a");
}

#ifdef TITLES_PROGRAM
TEST(ConsoleTitleTest, IsSetFromJava) {
    const Shown shown = underTerminal([] {
        execl("/bin/sh", "sh", "-c", TITLES_PROGRAM, nullptr);
        return 127;
    });
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.text, "before: \n"
                          "\x1b]2;Büro 7\a1: Büro 7\n"
                          "-1: Büro 7\n"
                          "-1: Büro 7\n"
                          "\x1b]2;\ufffdx\a1: lone\n"
                          "\x1b]2;" +
                              std::string(8193, 'x') + "\a1: 255 characters\n");
}
#endif

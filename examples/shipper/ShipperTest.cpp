// Runs the shipper as its users do, and counts what arrives.

#include "base/JsonObject.h"
#include "base/JsonUtil.h"
#include "base/UtfUtils.h"
#include "internal/ConvertUTF.h"
#include "process/Process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using norq_std::UtfUtils;

namespace {

using Event = std::shared_ptr<norq_std::JsonObject>;

struct Ended {
    int status = -1;
    std::string errors; ///< what stood on standard error
};

class ShipperTest : public testing::Test {
protected:
    void SetUp() override {
        norq_std_internal::ConvertUTF::setMaxStringSize(16 * 1024 * 1024);
        std::string name = (fs::temp_directory_path() / "shipper-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder = name;
    }
    void TearDown() override { fs::remove_all(folder); }

    std::string path(const std::string& name) const { return (folder / name).string(); }

    std::string write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }

    pid_t start(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), SHIPPER_PROGRAM);
        std::vector<char*> argv;
        argv.reserve(arguments.size() + 1);
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, path("out").c_str(), O_CREAT | O_TRUNC | O_WRONLY,
                                         0600);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, path("err").c_str(), O_CREAT | O_TRUNC | O_WRONLY,
                                         0600);
        pid_t child = -1;
        EXPECT_EQ(posix_spawn(&child, SHIPPER_PROGRAM, &actions, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        return child;
    }

    Ended await(pid_t child) const {
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), errors()};
    }

    std::string errors() const {
        std::ostringstream text;
        text << std::ifstream(path("err")).rdbuf();
        return text.str();
    }

    Ended ship(std::vector<std::string> arguments) const { return await(start(std::move(arguments))); }

    /// The events of the output, each checked for the shape of its log line.
    std::vector<Event> events(const std::string& name = "out") const {
        std::vector<Event> result;
        std::ifstream file(path(name), std::ios::binary);
        for (std::string line; std::getline(file, line);) {
            constexpr std::string_view PREFIX = "2024-03-07 09:05:02:041 INFO ";
            EXPECT_EQ(line.substr(23, 6), PREFIX.substr(23));
            const auto json = norq_std::JsonUtil::parseJson(UtfUtils::utf8ToUtf16(line.substr(PREFIX.size())));
            result.push_back(std::dynamic_pointer_cast<norq_std::JsonObject>(json));
            if (!result.back()) {
                ADD_FAILURE() << line;
                return {};
            }
        }
        return result;
    }

    static std::string text(const Event& event, const norq_std::WString& key = u"text") {
        return UtfUtils::utf16ToUtf8(event->getString(key, u""));
    }

    fs::path folder;
};

std::string generate(std::size_t lines) {
    std::string bytes;
    for (std::size_t i = 1; i <= lines; ++i)
        bytes += "2024-03-07 09:05:02 status installed p\xc3\xa4" + std::to_string(i * 7919) + ":amd64 \"1/2\\3\"\n";
    return bytes;
}

} // namespace

TEST_F(ShipperTest, everyLineOfEveryFileArrivesOnce) {
    std::map<std::string, std::vector<std::string>> expected;
    std::vector<std::string> arguments{"--workers", "3", "--output", path("shipped")};
    for (const std::size_t lines : {40000u, 1u, 0u, 5000u}) {
        const std::string bytes = generate(lines);
        const std::string file = write("file" + std::to_string(lines), bytes);
        arguments.push_back(file);
        std::istringstream stream(bytes);
        for (std::string line; std::getline(stream, line);)
            expected[file].push_back(line);
    }
    const Ended ended = ship(arguments);
    EXPECT_EQ(ended.status, 0);
    EXPECT_TRUE(ended.errors.starts_with("shipper: 4 files, 45001 lines, ")) << ended.errors;

    for (const Event& event : events("shipped")) {
        std::vector<std::string>& lines = expected[text(event, u"source")];
        const auto number = static_cast<std::size_t>(event->getLongLong(u"line", 0));
        ASSERT_TRUE(number >= 1 && number <= lines.size());
        ASSERT_EQ(text(event), lines[number - 1]);
        ASSERT_EQ(text(event, u"time"), "2024-03-07 09:05:02");
        lines[number - 1] = "arrived before";
    }
    for (const auto& [file, lines] : expected)
        for (const std::string& line : lines)
            ASSERT_EQ(line, "arrived before") << file;
}

TEST_F(ShipperTest, losesNothingOfLinesOutOfTheOrdinary) {
    std::string huge = "huge ";
    while (huge.size() < 3'000'000)
        huge += "\xe2\x82\xac\xf0\x9f\x98\x80";
    const std::string file =
        write("odd", std::string("\n") + "caf\xe9 \x80\n" + std::string("a\0b\0", 4) + "\n" + huge +
                         "\nStart-Date: 2024-03-07  09:05:02\n2024-13-07 09:05:02\nno line feed");
    ASSERT_EQ(ship({file}).status, 0);

    std::map<std::int64_t, Event> byLine;
    std::map<std::int64_t, std::string> pieces;
    for (const Event& event : events()) {
        const std::int64_t number = event->getLongLong(u"line", 0);
        if (number == 4)
            pieces[event->getLongLong(u"part", 0)] = text(event);
        else
            EXPECT_TRUE(byLine.emplace(number, event).second);
    }
    ASSERT_EQ(byLine.size(), 6u);
    EXPECT_EQ(text(byLine[1]), "");
    EXPECT_EQ(text(byLine[2]), "caf\xc3\xa9 \xe2\x82\xac");
    EXPECT_EQ(text(byLine[2], u"encoding"), "windows-1252");
    EXPECT_EQ(text(byLine[3]), "a\xe2\x90\x80"
                               "b\xe2\x90\x80");
    EXPECT_EQ(byLine[3]->getInteger(u"nulBytes", 0), 2);
    EXPECT_FALSE(byLine[3]->contains(u"encoding"));
    EXPECT_EQ(text(byLine[5], u"time"), "2024-03-07 09:05:02");
    EXPECT_FALSE(byLine[6]->contains(u"time"));
    EXPECT_EQ(text(byLine[7]), "no line feed");
    std::string joined;
    for (const auto& [part, piece] : pieces)
        joined += piece;
    EXPECT_GT(pieces.size(), 1u);
    EXPECT_TRUE(joined == huge);
}

TEST_F(ShipperTest, aMatchLooksAtTheTextOfTheLineAlone) {
    const std::string file = write("some \"text\" file", "one/two \"q\"\nthree\n");
    ASSERT_EQ(ship({"--match=/two \"q", file}).status, 0);
    ASSERT_EQ(events().size(), 1u);
    EXPECT_EQ(text(events()[0]), "one/two \"q\"");
    ASSERT_EQ(ship({"--filter", "file", "--quiet", file}).status, 0);
    EXPECT_TRUE(events().empty());
}

TEST_F(ShipperTest, saysWhatIsWrong) {
    const std::string file = write("file", "line\n");
    const Ended missing = ship({file, path("absent"), folder.string()});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.errors.find("cannot open " + path("absent") + ": No such file or directory"), std::string::npos);
    EXPECT_NE(missing.errors.find("cannot read " + folder.string() + ": Is a directory"), std::string::npos);
    EXPECT_EQ(events().size(), 1u);

    const Ended full = ship({"--output", "/dev/full", file});
    EXPECT_EQ(full.status, 3);
    EXPECT_NE(full.errors.find("cannot write /dev/full: No space left on device"), std::string::npos);
    EXPECT_EQ(ship({"--output", path("no/such/folder"), file}).status, 3);

    for (const auto& wrong : {std::vector<std::string>{"--workers", "0", file}, {"--workers"}, {"--unknown"}}) {
        const Ended ended = ship(wrong);
        EXPECT_EQ(ended.status, 2);
        EXPECT_NE(ended.errors.find("see shipper --help"), std::string::npos);
    }
    EXPECT_EQ(ship({"--output", file, file}).status, 2);
    EXPECT_EQ(fs::file_size(file), 5u);
}

TEST_F(ShipperTest, anInterruptShipsWhatWasReadAndEndsWithTheSummary) {
    // The output is a pipe that nobody empties until the signal has arrived: the queue is full by then.
    const std::string file = write("large", generate(400'000));
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    const pid_t child = start({"--output", path("pipe"), file});
    std::ifstream pipe(path("pipe"), std::ios::binary); // opened once the shipper has, and so minds signals
    std::string line;
    std::uint64_t lines = 0;
    ASSERT_TRUE(std::getline(pipe, line));
    kill(child, SIGINT);
    while (errors().find("stopping: ") == std::string::npos)
        std::this_thread::yield();
    for (++lines; std::getline(pipe, line);)
        ++lines;
    const Ended ended = await(child);
    EXPECT_EQ(ended.status, 128 + SIGINT);
    EXPECT_NE(ended.errors.find(" files, " + std::to_string(lines) + " lines, "), std::string::npos) << ended.errors;
    EXPECT_LT(lines, 400'000u);
}

// ---- the agent

namespace {

class AgentTest : public ShipperTest {
protected:
    void TearDown() override {
        if (child > 0)
            stop();
        ShipperTest::TearDown();
    }

    void startAgent(const std::string& settings) {
        write("shipper.cfg", settings);
        child = start({"--config", path("shipper.cfg"), "--quiet"});
    }
    void stop() {
        kill(child, SIGTERM);
#if defined(__SANITIZE_THREAD__) // its runtime loses a signal now and then; one that comes again changes nothing
        siginfo_t ended{};
        while (waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(200)); // between two attempts
            kill(child, SIGTERM);
        }
#endif
        EXPECT_EQ(await(std::exchange(child, -1)).status, 0);
    }
    /// Fails if it takes too long.
    template <class Condition>
    void until(const Condition& condition) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!condition()) {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << errors();
            std::this_thread::yield();
        }
    }
    void untilSaid(const std::string& text) {
        until([&] { return errors().find(text) != std::string::npos; });
    }
    void untilShipped(std::size_t lines, const std::string& name = "shipped") {
        until([&] {
            std::ifstream file(path(name), std::ios::binary);
            return std::count(std::istreambuf_iterator<char>(file), {}, '\n') >= static_cast<std::ptrdiff_t>(lines);
        });
    }
    void append(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary | std::ios::app) << bytes;
    }
    std::string texts(const std::string& name = "shipped") const {
        std::string all;
        for (const Event& event : events(name))
            all += text(event) + " ";
        return all;
    }

    pid_t child = -1;
};

} // namespace

TEST_F(AgentTest, noLineOfARotatedOrTruncatedFileIsLostOrSentTwice) {
    write("log", "1\n2\n");
    startAgent("[shipper]\nworkers=1\noutput=" + path("shipped") + "\n[files]\nlog=" + path("log") + "\n");
    untilShipped(2);
    append("log", "3\n4 begins");
    untilShipped(3);
    std::ofstream writer(path("log"), std::ios::binary | std::ios::app); // does not notice at once
    fs::rename(path("log"), path("log.1"));
    writer << " and ends\n5\n" << std::flush;
    untilShipped(5);
    write("log", "");
    writer << "6\n" << std::flush;
    untilShipped(6);
    append("log", "7\n8\n");
    untilShipped(8);
    fs::copy_file(path("log"), path("log.2"));
    fs::resize_file(path("log"), 0); // copied and truncated
    append("log", "9\n");
    untilShipped(9);
    fs::resize_file(path("log"), 0); // and longer again before anybody could look
    append("log", "ten\neleven\n");
    untilShipped(11);
    fs::rename(path("log"), path("log.3"));
    fs::rename(path("log.2"), path("log")); // one that was read before is another file by now
    untilShipped(13);
    append("log", "no line feed");
    untilSaid("following " + path("log"));
    stop();
    EXPECT_EQ(texts(), "1 2 3 4 begins and ends 5 6 7 8 9 ten eleven 7 8 no line feed ");
}

TEST_F(AgentTest, aWriterThatRotatesInALoopLosesNothing) {
    constexpr int Files = 50, Lines = 200; // and one more in each file: of two of one size and time none is told
    write("log", "");
    startAgent("[shipper]\nworkers=2\noutput=" + path("shipped") + "\n[files]\nlog=" + path("log") + "\n");
    untilSaid("following");
    int line = 0;
    for (int file = 0; file < Files; ++file) {
        std::ofstream writer(path("log"), std::ios::binary | std::ios::app);
        const int before = line;
        for (int i = 0; i < Lines + file; ++i)
            writer << ++line << '\n' << std::flush;
        writer.close();
        untilShipped(static_cast<std::size_t>(before) + 1); // it was seen: two rotations at once leave no trace
        fs::rename(path("log"), path("log.1"));
    }
    untilShipped(static_cast<std::size_t>(line));
    stop();
    std::vector<int> seen(static_cast<std::size_t>(line) + 1);
    for (const Event& event : events("shipped"))
        ++seen.at(static_cast<std::size_t>(std::stoi(text(event))));
    for (int i = 1; i <= line; ++i)
        ASSERT_EQ(seen[static_cast<std::size_t>(i)], 1) << "line " << i;
}

TEST_F(AgentTest, settingsHoldFromTheMomentTheyAreWritten) {
    const auto settings = [&](const std::string& shipper, const std::string& files) {
        write("next.cfg", "[shipper]\n" + shipper + "[files]\n" + files);
        fs::rename(path("next.cfg"), path("shipper.cfg")); // as editors do
    };
    const std::string a = "a=" + path("a") + "\n", b = "b=" + path("b") + "\n";
    const std::string output = "output=" + path("shipped") + "\n";
    write("a", "one\n");
    startAgent("[shipper]\nworkers=1\n" + output + "[files]\n" + a);
    untilShipped(1);

    settings("workers = 3\nmatch = yes\n" + output, a + b);
    untilSaid("[shipper] workers is now '3'");
    untilSaid("[shipper] match is now 'yes'");
    untilSaid("[files] b is now '" + path("b") + "'");
    untilSaid("cannot follow " + path("b") + " yet: No such file or directory");
    append("a", "no\nyes a\n");
    untilShipped(2);
    write("b", "yes b\n");
    untilShipped(3);

    settings("workers=100\nmatch=no\noutput=" + path("other") + "\n", b);
    untilSaid("workers takes a number from 1 to 64, not '100'; all stays as it was");
    settings("workers=1\noutput=" + path("other") + "\n", b);
    untilSaid("[shipper] match was removed");
    untilSaid("no longer following " + path("a"));
    append("a", "yes, but unheard\n");
    append("b", "last\n");
    untilShipped(1, "other");
    fs::remove(path("shipper.cfg"));
    untilSaid("[files] b was removed");
    stop();
    EXPECT_EQ(texts(), "one yes a yes b ");
    EXPECT_EQ(texts("other"), "last ");
}

TEST_F(AgentTest, logsIntoTheRingsOfTheSettingsThatShipWithIt) {
    constexpr int Lines = 12'000; // about twice the size of a debug file
    std::ostringstream shipped;
    shipped << std::ifstream(SHIPPER_SETTINGS).rdbuf();
    const auto settings = [&](const std::string& threshold) {
        std::string bytes = shipped.str();
        for (const auto& [line, value] :
             {std::pair("output=", path("shipped")), {"packages=", path("log.txt")}, {"Threshold=", threshold}}) {
            const std::size_t begin = bytes.find('\n' + std::string(line)) + 1 + std::strlen(line);
            bytes.replace(begin, bytes.find('\n', begin) - begin, value);
        }
        return bytes;
    };
    const auto ring = [&](const std::string& search) {
        const std::string command = "zcat -f " + path("log/shipper*") + " | grep -acE '" + search + "'";
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), &pclose);
        int count = -1;
        return std::fscanf(pipe.get(), "%d", &count) == 1 ? count : -1;
    };
    write("log.txt", "");
    startAgent(settings("INFO"));
    untilSaid("following " + path("log.txt"));
    EXPECT_FALSE(fs::exists(path("log/shipper0001.dbg")));
    EXPECT_EQ(ring("INFO FollowedFile.cpp\\[[0-9]+\\] following " + path("log.txt")), 1);
    EXPECT_EQ(ring("Module: shipper: Product <NorqStd shipper> Version <1\\."), 1);

    write("next.cfg", settings("DUMP"));
    fs::rename(path("next.cfg"), path("shipper.cfg"));
    until([&] { return fs::exists(path("log/shipper0001.dbg")); });
    constexpr int AtOnce = 100; // what the agent logs of each look at the file must leave the lines their room
    std::string block;
    for (int i = 0; i < AtOnce; ++i)
        block += "a line\n";
    for (int i = 0; i < Lines; i += AtOnce)
        append("log.txt", block);
    untilShipped(Lines);
    until([&] { return fs::exists(path("log/shipper0001.dbg.gz")); });
    write("next.cfg", settings("INFO"));
    fs::rename(path("next.cfg"), path("shipper.cfg"));
    until([&] { // closed, and compressed
        return std::ranges::none_of(fs::directory_iterator(path("log")), [](const fs::directory_entry& entry) {
            return entry.path().extension() == ".dbg" || entry.path().extension() == ".tmp";
        });
    });
    stop();
    EXPECT_EQ(ring(" DUMP \\[0x[0-9a-f]+\\] Worker.cpp\\[[0-9]+\\] shipper::Worker::ship: Line [0-9]+ of .*: a line"),
              Lines);
    EXPECT_EQ(ring(" INFO .*1 files, " + std::to_string(Lines) + " lines"), 1);
}

TEST_F(AgentTest, endsByTheNamedStopOfAnotherProcess) {
    write("log", "1\n2\n");
    const std::string name = "shipper-test-" + std::to_string(getpid());
    // One worker: what two are given within one moment has no order.
    child = start({"--follow", "--workers", "1", "--stop-event", name, "--output", path("shipped"), path("log")});
    untilShipped(2);
    append("log", "3\nno line feed");
    norq_std::Process::getProcessById(static_cast<unsigned>(child))->signalShutdown(UtfUtils::utf8ToUtf16(name));
    EXPECT_EQ(await(std::exchange(child, -1)).status, 0);
    EXPECT_EQ(texts(), "1 2 3 no line feed ");
}

TEST_F(AgentTest, isAServiceOfSystemd) {
    // NOLINTBEGIN(concurrency-mt-unsafe): this process has no other thread
    EXPECT_EQ(std::system("systemd-analyze verify " SHIPPER_UNIT), 0);

    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path("notify").copy(std::begin(address.sun_path), sizeof address.sun_path - 1);
    ASSERT_EQ(bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    const auto untilTold = [&](const std::string& state) { // to the manager
        until([&] {
            std::array<char, 1000> message{};
            return recv(socket, message.data(), message.size() - 1, 0) > 0 &&
                   std::string(message.data()).find(state) != std::string::npos;
        });
    };
    const timeval limit{60, 0};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setenv("NOTIFY_SOCKET", path("notify").c_str(), 1);
    setenv("LOGS_DIRECTORY", path("service-log").c_str(), 1);
    write("log", "1\n");
    startAgent("[shipper]\noutput=" + path("shipped") + "\n[files]\nlog=" + path("log") +
               "\n[Log Appenders]\nappender.a.class=norq_std.RollingFileAppender\n"
               "appender.a.filter=norq_std.LogFileFilter\nappender.a.layout=norq_std.NorqLogLayout\n");
    unsetenv("NOTIFY_SOCKET");
    unsetenv("LOGS_DIRECTORY");
    // NOLINTEND(concurrency-mt-unsafe)
    untilTold("READY=1");
    untilShipped(1);
    append("log", "2\n");
    kill(child, SIGTERM);
    untilTold("STOPPING=1");
    EXPECT_EQ(await(std::exchange(child, -1)).status, 0);
    close(socket);
    EXPECT_EQ(texts(), "1 2 ");
    EXPECT_TRUE(fs::exists(path("service-log/shipper0001.log")));
}

TEST_F(AgentTest, saysWhyItDoesNotStart) {
    EXPECT_EQ(ship({"--config", path("absent.cfg")}).status, 4);
    write("log", "line\n");
    write("shipper.cfg", "[shipper]\nworkers=none\n");
    EXPECT_EQ(ship({"--config", path("shipper.cfg")}).status, 2);
    write("shipper.cfg", "[shipper]\noutput=" + path("log") + "\n[files]\nlog=" + path("log") + "\n");
    const Ended ended = ship({"--config", path("shipper.cfg")});
    EXPECT_EQ(ended.status, 2);
    EXPECT_NE(ended.errors.find("is one of the files to read"), std::string::npos);
    EXPECT_EQ(fs::file_size(path("log")), 5u);
}

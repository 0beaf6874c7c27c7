#pragma once

#include "support/Limits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace norqstd_test {

/// The manager's side of the notify protocol: a socket that receives what a service tells.
class NotifyListener {
public:
    /// A name that begins with @ is abstract.
    explicit NotifyListener(const std::string& socketName)
        : name(socketName)
        , descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(static_cast<char*>(address.sun_path), name.data(), name.size());
        if (name.front() == '@')
            address.sun_path[0] = 0;
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        EXPECT_EQ(0, bind(descriptor, reinterpret_cast<sockaddr*>(&address), size)) << name;
    }
    ~NotifyListener() { close(descriptor); }
    NotifyListener(const NotifyListener&) = delete;
    NotifyListener& operator=(const NotifyListener&) = delete;

    /// The next message; empty if none comes.
    std::string next(std::chrono::milliseconds limit = longLimit()) {
        pollfd ready{descriptor, POLLIN, 0};
        if (poll(&ready, 1, static_cast<int>(limit.count())) != 1)
            return {};
        std::array<char, 4096> bytes;
        const ssize_t size = recv(descriptor, bytes.data(), bytes.size(), 0);
        return std::string(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    }

    const std::string name;

private:
    const int descriptor;
};

/// The sample service in a process of its own; killed if it has not ended.
class RunningSample {
public:
    using Environment = std::map<std::string, std::string>;

    RunningSample(const std::filesystem::path& folder, const Environment& environment,
                  const std::vector<std::string>& arguments = {})
        : logFile(folder / "log") {
        std::array<int, 2> in{};
        std::array<int, 2> out{};
        EXPECT_EQ(0, pipe2(in.data(), O_CLOEXEC));
        EXPECT_EQ(0, pipe2(out.data(), O_CLOEXEC));
        child = fork();
        if (child == 0) {
            for (const char* const inherited : {"NOTIFY_SOCKET", "INVOCATION_ID", "WATCHDOG_USEC", "WATCHDOG_PID"})
                unsetenv(inherited);
            setenv("NORQSTD_DEBUG_OUTPUT", logFile.c_str(), 1);
            for (const auto& [key, value] : environment)
                setenv(key.c_str(), value.c_str(), 1);
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            std::vector<const char*> words{SAMPLE_SERVICE};
            for (const std::string& argument : arguments)
                words.push_back(argument.c_str());
            words.push_back(nullptr);
            execv(SAMPLE_SERVICE, const_cast<char* const*>(words.data()));
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        input = in[1];
        output = out[0];
    }
    ~RunningSample() {
        closeInput();
        if (child > 0) {
            ::kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
        close(output);
    }
    RunningSample(const RunningSample&) = delete;
    RunningSample& operator=(const RunningSample&) = delete;

    pid_t id() const { return child; }
    void closeInput() {
        if (input >= 0)
            close(input);
        input = -1;
    }
    void signal(int number) const { EXPECT_EQ(0, ::kill(child, number)); }
    void signal(int number, int value) const {
        sigval argument{};
        argument.sival_int = value;
        EXPECT_EQ(0, sigqueue(child, number, argument));
    }
    /// The next line of its output; empty if none comes.
    std::string line() {
        std::string text;
        char c = 0;
        pollfd ready{output, POLLIN, 0};
        while (poll(&ready, 1, static_cast<int>(longLimit().count())) == 1 && read(output, &c, 1) == 1 && c != '\n')
            text += c;
        return text;
    }
    /// Waits for its end: its result, or the negative number of the signal that ended it.
    int end() {
        int status = 0;
        waitpid(child, &status, 0);
        child = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    std::string log() const {
        std::ifstream stream(logFile);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

private:
    const std::filesystem::path logFile;
    pid_t child = -1;
    int input = -1;
    int output = -1;
};

} // namespace norqstd_test

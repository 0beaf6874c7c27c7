// What the tests of processes start. Output goes to a file named by the second argument, and is complete once that file
// has its name.

#include "base/UtfUtils.h"
#include "concurrency/Concurrency.h"
#include "process/StopRequest.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

using norq_std::StopRequest;
using norq_std::UtfUtils;
using Words = std::vector<std::string>;

void report(const std::string& path, const std::string& text) {
    const std::string unfinished = path + ".part";
    std::ofstream(unfinished, std::ios::binary) << text;
    std::filesystem::rename(unfinished, path);
}

/// exit CODE
int exitWith(const Words& words) { return std::stoi(words[1]); }

/// die SIGNAL
int die(const Words& words) { return std::raise(std::stoi(words[1])); }

/// tell FILE WORD...: the words, a line each, the working directory, the size of the environment, the open descriptors,
/// and the signals that are blocked or not handled by default.
int tell(const Words& words) {
    std::string text;
    for (std::size_t i = 2; i < words.size(); ++i)
        text += '<' + words[i] + ">\n";
    text += std::filesystem::current_path().string() + '\n';
    std::size_t bytes = 0;
    for (char** one = environ; *one != nullptr; ++one)
        bytes += std::string(*one).size();
    text += std::to_string(bytes) + '\n';
    for (int descriptor = 0; descriptor < 256; ++descriptor)
        if (fcntl(descriptor, F_GETFD) >= 0)
            text += std::to_string(descriptor) + ' ';
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    for (int signal = 1; signal < SIGRTMIN; ++signal) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (sigismember(&blocked, signal) == 1 || action.sa_handler == SIG_IGN)
            text += "signal " + std::to_string(signal) + ' ';
    }
    report(words[1], text + '\n');
    return 0;
}

/// obey FILE EVENT: ends with 7 when asked to stop, and says when it waits.
int obey(const Words& words) {
    StopRequest request(UtfUtils::utf8ToUtf16(words[2]));
    report(words[1], std::to_string(getpid()));
    norq_std::Concurrency::waitForSingleObject(request, -1);
    return 7;
}

/// ignore FILE [EVENT]: never ends, and says when it is there; holds the event.
int ignore(const Words& words) {
    std::unique_ptr<StopRequest> request;
    if (words.size() > 2)
        request = std::make_unique<StopRequest>(UtfUtils::utf8ToUtf16(words[2]));
    std::signal(SIGTERM, SIG_IGN);
    report(words[1], std::to_string(getpid()));
    for (;;)
        pause();
}

/// hide FILE: the same, and only the system's administrator may look at it.
int hide(const Words& words) {
    prctl(PR_SET_DUMPABLE, 0);
    return ignore(words);
}

int runProgram(const Words& words);

/// orphan WORD...: runs those in a process that is nobody's child.
int orphan(const Words& words) { return fork() == 0 ? runProgram(Words(words.begin() + 1, words.end())) : 0; }

int runProgram(const Words& words) {
    const std::map<std::string, std::function<int(const Words&)>> programs{
        {"exit", exitWith}, {"die", die},   {"tell", tell},    {"obey", obey},
        {"ignore", ignore}, {"hide", hide}, {"orphan", orphan}};
    return words.empty() ? 99 : programs.at(words[0])(words);
}

} // namespace

int main(int count, char** arguments) { return runProgram(Words(arguments + 1, arguments + count)); }

// norqstd-log-crash [rounds [seed]]: a process that logs, rolls and compresses at full speed is killed at a random
// moment, again and again over one ring of files. After each kill the ring must hold every line that the process had
// acknowledged, whole and once, except in files that the ring itself had overwritten; and each compressed file must be
// whole.
//
// The same program is the victim: norqstd-log-crash --write FOLDER ROUND, which writes the number of each line to its
// standard output once the line was logged.

#include "base/LogMacros.h"
#include "base/StringUtils.h"
#include "system/Paths.h"

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr int THREADS = 2;
constexpr std::size_t FILE_SIZE = 1 << 20;
constexpr std::size_t FILES = 5;

struct Acknowledgement {
    std::int32_t thread;
    std::int32_t line;
};

void writeLines(int round, std::int32_t thread) {
    for (std::int32_t line = 0;; ++line) {
        norq_std::ContextLogMessage::log(norq_std::INFO, u"crash", u"crash", u"", 1, nullptr, 0,
                                         u"round %d thread %d line %d, which ends here %d.%d.%d", round, thread, line,
                                         round, thread, line);
        const Acknowledgement done{thread, line};
        if (write(STDOUT_FILENO, &done, sizeof done) != sizeof done)
            return;
    }
}

int runVictim(const fs::path& folder, int round) {
    norq_std::Paths::getInstance()->setPath(u"System Config Path Key", folder.u16string());
    norq_std::Paths::getInstance()->setPath(u"System Log Path Key", (folder / "log").u16string());
    norq_std::StaticLog::initInstance(u"victim");
    std::vector<std::thread> threads;
    for (std::int32_t thread = 0; thread < THREADS; ++thread)
        threads.emplace_back(writeLines, round, thread);
    for (std::thread& thread : threads)
        thread.join();
    return EXIT_SUCCESS;
}

void configure(const fs::path& folder) {
    std::ofstream(folder / "victim.cfg") << "[Log Appenders]\n"
                                            "appender.ring.class=norq_std.CompressedRollingFileAppender\n"
                                            "appender.ring.filter=norq_std.LogFileFilter\n"
                                            "appender.ring.layout=norq_std.NorqLogLayout\n"
                                            "appender.ring.size=1 MB\n"
                                            "appender.ring.files="
                                         << FILES << "\n";
}

/// The last line that each thread acknowledged, or -1, of a victim that was killed after about so many of them.
std::vector<std::int32_t> killAfter(const fs::path& folder, int round, std::size_t acknowledgements) {
    int ends[2];
    if (pipe(ends) != 0)
        throw std::runtime_error("no pipe");
    const std::string roundText = std::to_string(round);
    const pid_t victim = fork();
    if (victim == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        execl("/proc/self/exe", "norqstd-log-crash", "--write", folder.c_str(), roundText.c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    std::vector<std::int32_t> last(THREADS, -1);
    Acknowledgement done{};
    for (std::size_t count = 0; read(ends[0], &done, sizeof done) == sizeof done; ++count) {
        last.at(static_cast<std::size_t>(done.thread)) = done.line;
        if (count == acknowledgements)
            kill(victim, SIGKILL);
    }
    close(ends[0]);
    int status = 0;
    waitpid(victim, &status, 0);
    if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGKILL)
        throw std::runtime_error("the victim ended by itself");
    return last;
}

std::string contentOf(const fs::path& path) {
    if (path.extension() != ".gz") {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    std::FILE* const unpacked = popen(("gzip -dc '" + path.string() + "'").c_str(), "r");
    std::string text;
    char block[65536];
    while (const std::size_t length = std::fread(block, 1, sizeof block, unpacked))
        text.append(block, length);
    if (pclose(unpacked) != 0)
        throw std::runtime_error(path.string() + " is no whole compressed file");
    return text;
}

/// The ring's lines of one round: by thread, how often each was found.
struct Found {
    std::vector<std::map<std::int32_t, int>> lines{THREADS};
    std::size_t bytes = 0;
};

void readLines(const std::string& text, int round, Found& found) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string line = text.substr(at, end - at);
        at = end + 1;
        int values[6]{};
        const std::size_t begin = line.find(" INFO round ");
        if (begin == std::string::npos ||
            std::sscanf(line.c_str() + begin, " INFO round %d thread %d line %d, which ends here %d.%d.%d", &values[0],
                        &values[1], &values[2], &values[3], &values[4], &values[5]) != 6 ||
            values[0] != round || values[0] != values[3] || values[1] != values[4] || values[2] != values[5])
            continue;
        ++found.lines.at(static_cast<std::size_t>(values[1]))[values[2]];
        found.bytes += line.size() + 1;
    }
}

Found readRing(const fs::path& folder, int round) {
    Found found;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        const std::string type = entry.path().extension().string();
        // A file under compression is there twice until the compressed one has its name.
        if (type == ".log" || type == ".gz" ||
            (type == ".tmp" && !fs::exists(entry.path().string().substr(0, entry.path().string().size() - 4) + ".gz")))
            readLines(contentOf(entry.path()), round, found);
    }
    return found;
}

void check(const Found& found, const std::vector<std::int32_t>& acknowledged) {
    for (std::size_t thread = 0; thread < THREADS; ++thread) {
        const auto& lines = found.lines[thread];
        if (acknowledged[thread] < 0)
            continue;
        const std::string who = "thread " + std::to_string(thread) + ": ";
        if (lines.empty() || lines.rbegin()->first < acknowledged[thread])
            throw std::runtime_error(who + "line " + std::to_string(acknowledged[thread]) + " is lost");
        std::int32_t expected = lines.begin()->first;
        for (const auto& [line, count] : lines) {
            if (line != expected++)
                throw std::runtime_error(who + "line " + std::to_string(expected - 1) + " is lost");
            if (count != 1)
                throw std::runtime_error(who + "line " + std::to_string(line) + " stands there more than once");
        }
        // What is gone from the beginning, the ring has overwritten: then all other files are this round's.
        if (lines.begin()->first > 0 && found.bytes < (FILES - 2) * FILE_SIZE)
            throw std::runtime_error(who + "lines before " + std::to_string(lines.begin()->first) + " are lost");
    }
}

int runRounds(int rounds, unsigned seed) {
    std::string name = (fs::temp_directory_path() / "norqstd-crash-XXXXXX").string();
    const fs::path folder = mkdtemp(name.data());
    configure(folder);
    std::mt19937 random(seed);
    std::size_t acknowledged = 0;
    for (int round = 0; round < rounds; ++round) {
        const auto last = killAfter(folder, round, std::uniform_int_distribution<std::size_t>(0, 60000)(random));
        check(readRing(folder / "log", round), last);
        for (const std::int32_t line : last)
            acknowledged += static_cast<std::size_t>(line + 1);
    }
    fs::remove_all(folder);
    std::cout << rounds << " kills, " << acknowledged << " lines acknowledged and none lost\n";
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc == 4 && std::string(argv[1]) == "--write")
            return runVictim(argv[2], std::atoi(argv[3]));
        const int rounds = argc > 1 ? std::atoi(argv[1]) : 200;
        const unsigned seed = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : std::random_device()();
        std::cout << "seed " << seed << std::endl;
        return runRounds(rounds, seed);
    } catch (const std::exception& e) {
        std::cerr << "log-crash: " << e.what() << '\n';
        return EXIT_FAILURE;
    }
}

// norqstd-prefs-crash [rounds [seconds [seed]]]: preferences in files under two hard trials.
//
// First a process that puts and flushes at full speed is killed at a random moment, again and again over the same
// nodes. After each kill every file must be one that was flushed as a whole, and no older than what the process had
// acknowledged. Then processes put keys of their own into one node and sync it, all at once, for that many seconds: in
// the end the file must hold every key that any of them had acknowledged.
//
// The same program is the victim: norqstd-prefs-crash --flush FOLDER FIRST, and the writer: --share FOLDER NAME
// SECONDS. Both write the number of each finished step to their standard output.

#include "base/UtfUtils.h"
#include "config/ConfigurationFile.h"
#include "exception/NorqException.h"
#include "prefs/FilePreferencesFactory.h"
#include "prefs/Preferences.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr int NODES = 3;
constexpr int KEYS = 40;
constexpr int WRITERS = 3;

norq_std::WString wide(const std::string& text) { return norq_std::UtfUtils::utf8ToUtf16(text); }

std::shared_ptr<norq_std::Preferences> rootAt(const fs::path& folder) {
    setenv("USERPROFILE", folder.c_str(), 1);
    return norq_std::FilePreferencesFactory().userRoot();
}

bool acknowledge(std::int32_t step) { return write(STDOUT_FILENO, &step, sizeof step) == sizeof step; }

/// Every key of every node gets the number of the step, so that a file that is not of one step shows.
int flushSteps(const fs::path& folder, std::int32_t first) {
    const auto root = rootAt(folder);
    for (std::int32_t step = first;; ++step) {
        for (int node = 0; node < NODES; ++node)
            for (int key = 0; key < KEYS; ++key)
                root->node(wide("node" + std::to_string(node)))->putInt(wide("key" + std::to_string(key)), step);
        root->flush();
        if (!acknowledge(step))
            return EXIT_SUCCESS;
    }
}

int shareNode(const fs::path& folder, const std::string& name, int seconds) {
    const auto node = rootAt(folder)->node(u"shared");
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    for (std::int32_t step = 0; std::chrono::steady_clock::now() < end; ++step) {
        node->putInt(wide(name + std::to_string(step)), step);
        node->sync();
        if (!acknowledge(step))
            break;
    }
    return EXIT_SUCCESS;
}

/// This program in another role, and the steps that it acknowledges.
class Child {
public:
    explicit Child(const std::vector<std::string>& words) {
        int ends[2];
        if (pipe(ends) != 0)
            throw std::runtime_error("no pipe");
        process = fork();
        if (process == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            close(ends[1]);
            std::vector<char*> arguments{const_cast<char*>("norqstd-prefs-crash")};
            for (const std::string& word : words)
                arguments.push_back(const_cast<char*>(word.c_str()));
            arguments.push_back(nullptr);
            execv("/proc/self/exe", arguments.data());
            _exit(127);
        }
        close(ends[1]);
        steps = ends[0];
    }
    ~Child() { close(steps); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    bool next(std::int32_t& step) { return read(steps, &step, sizeof step) == sizeof step; }
    void end() const { kill(process, SIGKILL); }
    int status() const {
        int result = 0;
        waitpid(process, &result, 0);
        return result;
    }

private:
    pid_t process = -1;
    int steps = -1;
};

std::int32_t numberIn(const norq_std::Configuration& file, const std::string& key) {
    const std::string text = norq_std::UtfUtils::utf16ToUtf8(file.getValue(wide(key), u""));
    return text.empty() ? -1 : static_cast<std::int32_t>(std::stol(text));
}

/// The step of a node's file, -1 if there is none.
std::int32_t stepOf(const fs::path& path) {
    if (!fs::exists(path))
        return -1;
    norq_std::ConfigurationFile file(norq_std::File(wide(path.string())), nullptr);
    file.load();
    const std::int32_t step = numberIn(file, "key0");
    for (int key = 0; key < KEYS; ++key)
        if (step < 0 || numberIn(file, "key" + std::to_string(key)) != step)
            throw std::runtime_error(path.string() + " is neither old nor new");
    return step;
}

std::int32_t killOnce(const fs::path& folder, std::int32_t first, std::mt19937& random) {
    Child victim({"--flush", folder.string(), std::to_string(first)});
    std::int32_t last = -1; // that this victim has acknowledged
    const int steps = std::uniform_int_distribution<int>(0, 20)(random);
    for (int count = 0; count < steps && victim.next(last); ++count)
        continue;
    usleep(std::uniform_int_distribution<unsigned>(0, 3000)(random)); // into the middle of a step
    victim.end();
    if (!WIFSIGNALED(victim.status()))
        throw std::runtime_error("the victim ended by itself");
    for (std::int32_t step = last; victim.next(step);)
        last = step;
    std::int32_t newest = std::max(last, first - 1);
    for (int node = 0; node < NODES; ++node) {
        const std::int32_t step = stepOf(folder / ("node" + std::to_string(node)) / "prefs.cfg");
        if (last >= 0 && (step < last || step > last + 1))
            throw std::runtime_error("node " + std::to_string(node) + " is at step " + std::to_string(step) +
                                     ", acknowledged was " + std::to_string(last));
        newest = std::max(newest, step);
    }
    return newest + 1;
}

void runKills(const fs::path& folder, int rounds, std::mt19937& random) {
    std::int32_t next = 0;
    for (int round = 0; round < rounds; ++round)
        next = killOnce(folder, next, random);
    std::cout << rounds << " kills over " << next << " steps, every file old or new\n";
}

void runWriters(const fs::path& folder, int seconds) {
    std::vector<std::unique_ptr<Child>> writers;
    for (int writer = 0; writer < WRITERS; ++writer)
        writers.push_back(std::make_unique<Child>(std::vector<std::string>{
            "--share", folder.string(), "writer" + std::to_string(writer) + "-", std::to_string(seconds)}));
    std::vector<std::int32_t> last(WRITERS, -1);
    for (std::size_t writer = 0; writer < WRITERS; ++writer) {
        while (writers[writer]->next(last[writer]))
            continue;
        if (writers[writer]->status() != 0)
            throw std::runtime_error("a writer failed");
    }
    norq_std::ConfigurationFile file(norq_std::File(wide((folder / "shared" / "prefs.cfg").string())), nullptr);
    file.load();
    for (std::size_t writer = 0; writer < WRITERS; ++writer) {
        if (last[writer] < 0)
            throw std::runtime_error("a writer never came to its turn");
        for (std::int32_t step = 0; step <= last[writer]; ++step) {
            const std::string key = "writer" + std::to_string(writer) + "-" + std::to_string(step);
            if (numberIn(file, key) != step)
                throw std::runtime_error(key + " is lost");
        }
        std::cout << "writer " << writer << ": " << last[writer] + 1 << " keys, none lost\n";
    }
}

int runAll(int rounds, int seconds, unsigned seed) {
    std::string name = (fs::temp_directory_path() / "norqstd-prefs-XXXXXX").string();
    const fs::path folder = mkdtemp(name.data());
    std::mt19937 random(seed);
    runKills(folder, rounds, random);
    runWriters(folder, seconds);
    fs::remove_all(folder);
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv, argv + argc);
    const auto number = [&words](std::size_t index, int standard) {
        return words.size() > index ? std::stoi(words[index]) : standard;
    };
    try {
        if (words.size() == 4 && words[1] == "--flush")
            return flushSteps(words[2], number(3, 0));
        if (words.size() == 5 && words[1] == "--share")
            return shareNode(words[2], words[3], number(4, 0));
        return runAll(number(1, 200), number(2, 60), static_cast<unsigned>(number(3, 1)));
    } catch (const norq_std::NorqException& failure) {
        std::cerr << norq_std::UtfUtils::utf16ToUtf8(failure.getMessage()) << '\n';
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
    }
    return EXIT_FAILURE;
}

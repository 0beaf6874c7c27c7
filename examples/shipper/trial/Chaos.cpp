#include "trial/Stage.h"
#include "trial/Trials.h"

#include "thread/Thread.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <random>
#include <thread>

namespace trial {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::size_t COLLECTORS = 3;
constexpr int KEPT_FILES =
    2000; // more than roll over while the agent is down, or behind: a sanitizer slows it, not the writer

std::string textOf(std::uint64_t number) {
    return "2024-03-07 09:05:02 line " + std::to_string(number) + " p\xc3\xa4yload " +
           std::string(number * 7919 % 150, static_cast<char>('a' + number % 26));
}

/// Writes lines, some of them in two pieces, and rolls the log over by renaming.
class Writer {
public:
    Writer(std::string file, std::uint64_t seed)
        : path(std::move(file))
        , random(seed) {}

    void run(const std::atomic<bool>& stop) {
        while (!stop) {
            const std::uint64_t lines = random() % 1000;
            std::ofstream log(path, std::ios::binary | std::ios::app);
            for (std::uint64_t i = 0; i < lines && !stop; ++i) {
                const std::string line = textOf(++written) + "\n";
                const std::size_t first = random() % 50 == 0 ? random() % line.size() : line.size();
                log << line.substr(0, first) << std::flush;
                norq_std::Thread::sleep(first < line.size() || i % 100 == 0 ? 2 : -1);
                log << line.substr(first) << std::flush;
            }
            log.close();
            roll(); // the last one too: what was renamed arrives though no file follows it
        }
    }

    std::uint64_t written = 0;
    int rolled = 0;

private:
    void roll() {
        for (int i = KEPT_FILES; i > 0; --i)
            if (const std::string from = i == 1 ? path : path + "." + std::to_string(i - 1); fs::exists(from))
                fs::rename(from, path + "." + std::to_string(i));
        ++rolled;
    }

    const std::string path;
    std::mt19937_64 random;
};

/// Kills one process after the other and starts it again.
class Killer {
public:
    Killer(Stage& itsStage, std::uint64_t seed)
        : stage(itsStage)
        , random(seed) {}

    void run(Clock::time_point end) {
        while (Clock::now() < end) {
            norq_std::Thread::sleep(static_cast<std::int32_t>(random() % 400));
            const std::size_t target = random() % (COLLECTORS + 1);
            target == COLLECTORS ? toggleAgent() : toggleCollector(target);
        }
    }
    void startAll() {
        if (!stage.isAgentRunning())
            stage.startAgent();
        for (std::size_t i = 0; i < COLLECTORS; ++i)
            if (!stage.isCollectorRunning(i))
                stage.startCollector(i);
    }

    int agentKills = 0;
    int collectorKills = 0;

private:
    void toggleAgent() {
        if (!stage.isAgentRunning()) {
            stage.startAgent();
            return;
        }
        stage.killAgent();
        ++agentKills;
    }
    void toggleCollector(std::size_t number) {
        if (!stage.isCollectorRunning(number)) {
            stage.startCollector(number);
            return;
        }
        stage.killCollector(number);
        ++collectorKills;
    }

    Stage& stage;
    std::mt19937_64 random;
};

/// Says what is wrong; how many faults there are.
int check(const Stage& stage, std::uint64_t written) {
    std::vector<std::uint32_t> seen(written + 1);
    int faults = 0;
    const auto fault = [&](const std::string& text) {
        if (++faults <= 20)
            std::printf("FAULT: %s\n", text.c_str());
    };
    for (std::size_t i = 0; i < COLLECTORS; ++i) {
        std::uint64_t last = 0;
        const std::vector<Arrived> lines = stage.stored(i);
        for (const Arrived& line : lines) {
            unsigned long long number = 0;
            if (std::sscanf(line.bytes.c_str(), "2024-03-07 09:05:02 line %llu ", &number) != 1 || number > written ||
                line.bytes != textOf(number)) {
                fault("a line that was never written: " + line.bytes);
                continue;
            }
            ++seen[number];
            if (number <= last)
                fault("line " + std::to_string(number) + " behind line " + std::to_string(last));
            last = number;
        }
        std::printf("collector %zu stored %zu lines\n", i + 1, lines.size());
    }
    for (std::uint64_t number = 1; number <= written; ++number)
        if (seen[number] != 1)
            fault("line " + std::to_string(number) + " arrived " + std::to_string(seen[number]) + " times");
    return faults;
}

} // namespace

int runChaos(const std::string& folder, int seconds, shipper::StateNode::Store store, std::uint64_t seed) {
    std::printf("chaos for %d seconds, the state in %s, with seed %llu\n", seconds, nameOf(store),
                static_cast<unsigned long long>(seed));
    Stage stage(folder, COLLECTORS, store);
    Killer killer(stage, seed + 1);
    Writer writer(stage.log(), seed);
    std::atomic<bool> stop{false};
    // The agent knows a log from the first time that it looks at it.
    std::ofstream(stage.log(), std::ios::app).close();
    killer.startAll();
    until("the agent follows the log", [&] { return stage.heardOfAgent().find("following ") != std::string::npos; });
    std::thread writing([&] { writer.run(stop); });
    killer.run(Clock::now() + std::chrono::seconds(seconds));
    stop = true;
    writing.join();
    killer.startAll();
    std::printf("%llu lines written, %d times rolled over; %d kills of collectors, %d of the agent\n",
                static_cast<unsigned long long>(writer.written), writer.rolled, killer.collectorKills,
                killer.agentKills);
    std::fflush(stdout);
    try {
        until("every line arrives", [&] {
            norq_std::Thread::sleep(300);
            return stage.countStored() >= writer.written;
        });
    } catch (const std::runtime_error& failure) {
        std::printf("FAULT: %s\n", failure.what());
    }
    const int agentCode = stage.stopAgent();
    int faults = check(stage, writer.written) + (agentCode == 0 ? 0 : 1);
    for (std::size_t i = 0; i < COLLECTORS; ++i)
        faults += stage.stopCollector(i) == 0 ? 0 : 1;
    std::printf(faults == 0 ? "every line arrived exactly once and in order\n" : "%d faults\n", faults);
    return faults == 0 ? 0 : 1;
}

} // namespace trial

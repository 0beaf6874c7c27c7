#include "trial/Stage.h"
#include "trial/Trials.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>

namespace trial {
namespace {

void tell(const std::string& text) {
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
}

void append(const std::string& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary | std::ios::app) << bytes;
}

/// What the agent has said since, each line with a mark in front.
void tellNews(const Stage& stage, std::size_t& told) {
    const std::string heard = stage.heardOfAgent();
    std::istringstream news(heard.substr(told));
    for (std::string line; std::getline(news, line);)
        tell("    " + line);
    told = heard.size();
}

/// Kills the agent, lets it miss the rest of the log, and starts it again.
void restartAgent(Stage& stage, const std::string& rest) {
    tell("The agent is killed. What it keeps in the registry:");
    stage.killAgent();
    for (const auto& [key, value] : shipper::StateNode({}).read())
        tell(std::string("    ").append(key).append(" = ").append(value));
    append(stage.log(), rest);
    tell("It is started again, and goes on where it was.");
    stage.startAgent();
}

/// Compares what the collectors have stored with what was sent.
bool isSame(const Stage& stage, const std::string& bytes, std::size_t lines) {
    std::map<std::uint64_t, std::string> arrived;
    std::size_t pieces = 0;
    for (std::size_t i = 0; i < stage.collectorCount(); ++i) {
        const std::vector<Arrived> stored = stage.stored(i);
        tell("The collector on " + stage.addressOf(i) + " has stored " + std::to_string(stored.size()) + " events.");
        pieces += stored.size();
        for (const Arrived& line : stored)
            arrived[line.line] += line.bytes;
    }
    std::string together;
    for (const auto& [number, line] : arrived)
        together.append(line).append("\n");
    const bool same = together == bytes && pieces == lines;
    tell(same ? "What arrived is what was sent, byte for byte: " + std::to_string(lines) + " lines, " +
                    std::to_string(bytes.size()) + " bytes."
              : "What arrived is NOT what was sent: " + std::to_string(pieces) + " of " + std::to_string(lines) +
                    " lines, " + std::to_string(together.size()) + " of " + std::to_string(bytes.size()) + " bytes.");
    return same;
}

} // namespace

int runDemo(const std::string& folder, const std::string& log) {
    std::ostringstream content;
    content << std::ifstream(log, std::ios::binary).rdbuf();
    std::string bytes = content.str();
    if (bytes.empty())
        throw std::runtime_error(log + " is empty or not there");
    if (bytes.back() != '\n')
        bytes += '\n'; // the agent waits for the end of a line
    // Where the first part of the log ends, and the second.
    const std::size_t first = bytes.find('\n', bytes.size() / 3) + 1;
    const std::size_t second = bytes.find('\n', bytes.size() * 2 / 3) + 1;

    Stage stage(folder, 2);
    std::size_t told = 0;
    tell("Two collectors, on " + stage.addressOf(0) + " and " + stage.addressOf(1) + ", and the agent are started.");
    append(stage.log(), "");
    stage.startCollector(0);
    stage.startCollector(1);
    until("the first collector is there", [&] { return stage.isCollectorRunning(0); });
    stage.startAgent();
    append(stage.log(), bytes.substr(0, first));
    until("the first part arrives", [&] { return stage.countStored() > 0; });
    const std::size_t lost = stage.stored(0).size() >= stage.stored(1).size() ? 0 : 1;
    tellNews(stage, told);

    tell("The log is being written; the collector on " + stage.addressOf(lost) + " is killed.");
    stage.killCollector(lost);
    append(stage.log(), bytes.substr(first, second - first));
    until("the other collector stores something", [&] { return !stage.stored(1 - lost).empty(); });
    tellNews(stage, told);

    tell("It is started again, and learns what counts of what it holds.");
    stage.startCollector(lost);

    restartAgent(stage, bytes.substr(second));
    const auto lines = static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n'));
    until("every line arrives", [&] { return stage.countStored() >= lines; });

    tell("All are stopped politely.");
    if (stage.stopAgent() != 0 || stage.stopCollector(0) != 0 || stage.stopCollector(1) != 0)
        throw std::runtime_error("one of them did not end as it should");
    tellNews(stage, told);

    return isSame(stage, bytes, lines) ? 0 : 1;
}

} // namespace trial

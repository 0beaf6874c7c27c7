#pragma once

#include "StateNode.h"

#include "process/Process.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace trial {

/// One line as it arrived.
struct Arrived {
    std::uint64_t line = 0; ///< number in its file
    std::string bytes;      ///< as they stood in the file
};

/// Collectors and an agent as processes of their own, in a folder that is empty at first. What they say on standard
/// error is kept in files there.
class Stage {
public:
    /// Leads this process, and those that it starts, to a registry and to preferences of the stage's own.
    Stage(const std::filesystem::path& folder, std::size_t collectors,
          shipper::StateNode::Store store = shipper::StateNode::Store::REGISTRY);
    ~Stage(); ///< kills what runs
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    const std::filesystem::path folder;

    std::size_t collectorCount() const { return collectors.size(); }
    const std::string& addressOf(std::size_t collector) const { return collectors[collector].address; }
    std::string log() const { return (folder / "application.log").string(); }

    void startAgent();
    void startCollector(std::size_t number);
    bool isAgentRunning() const { return agent.has_value(); }
    bool isCollectorRunning(std::size_t number) const { return collectors[number].process.has_value(); }
    /// With SIGKILL; returns when the process is gone.
    void killAgent() { kill(agent); }
    void killCollector(std::size_t number) { kill(collectors[number].process); }
    /// Politely; the exit code.
    int stopAgent();
    int stopCollector(std::size_t number);

    /// What a process has said since the beginning.
    std::string heardOfAgent() const;
    /// What a collector has stored, in its order.
    std::vector<Arrived> stored(std::size_t collector) const;
    /// How many lines all have stored.
    std::size_t countStored() const;

private:
    struct Collector {
        std::string name;
        std::string address;
        norq_std::WString stopEvent;
        std::optional<norq_std::Process> process;
    };

    std::optional<norq_std::Process> start(const std::string& program, const std::string& name,
                                           const std::string& arguments) const;
    static int stop(std::optional<norq_std::Process>& process, const norq_std::WString& event);
    static void kill(std::optional<norq_std::Process>& process);
    static void await(const norq_std::Process& process);
    std::string storeOf(std::size_t collector) const {
        return (folder / collectors[collector].name / "store").string();
    }

    norq_std::WString agentStopEvent;
    std::vector<Collector> collectors;
    std::optional<norq_std::Process> agent;
};

/// Looks again and again. Throws `std::runtime_error` with the name of what did not come about in a minute or so.
void until(const std::string& what, const std::function<bool()>& condition);

} // namespace trial

#pragma once

#include "wire/DurableFolder.h"
#include "wire/Message.h"

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace collector {

/// The batches that a collector got, in a folder: `agents/AGENT/NUMBER.pending` is held until its agent says that it
/// counts, and is `NUMBER.jsonl` from then on, an event a line (docs/shipping.md).
///
/// Every answer may be given to the agent as soon as it is there: what it says is on the disk. For one thread.
class Store {
public:
    explicit Store(const std::string& folder, wire::DurableFolder::StepHook hook = {});

    /// Who this collector is: an id that lies in the folder, whatever the host and port.
    const std::string& getId() const { return id; }

    /// What an agent is answered that has said hello. Throws `wire::ProtocolError` for a message that has no answer.
    wire::Message answer(const std::string& agent, const wire::Message& message);

    /// Writes the stored events of all agents, the batches of each in their order. The collector may be running.
    static void dump(const std::string& folder, std::FILE* output);

private:
    struct Agent {
        std::unique_ptr<wire::DurableFolder> folder;
        std::set<std::uint64_t> pending; ///< numbers of the batches
    };

    Agent& find(const std::string& agent);
    /// Whether something was done that is to be synced.
    static bool settle(Agent& agent, std::uint64_t confirmed);
    static void hold(Agent& agent, const wire::Message& batch);

    const std::string path;
    const wire::DurableFolder::StepHook hook;
    wire::DurableFolder folder; ///< holds the id, and the lock
    std::string id;
    std::map<std::string, Agent> agents; ///< that said something since the start
};

} // namespace collector

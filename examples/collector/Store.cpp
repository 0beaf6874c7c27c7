#include "Store.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace collector {
namespace {

namespace fs = std::filesystem;
using wire::Message;

constexpr const char* ID_FILE = "id";
constexpr const char* AGENTS = "/agents/";
constexpr std::string_view PENDING = ".pending";
constexpr std::string_view STORED = ".jsonl";
constexpr std::size_t DIGITS = 16; // as many as the largest number has: names stand in the order of numbers

std::string nameOf(std::uint64_t sequence, std::string_view extension) {
    std::string digits = std::to_string(sequence);
    digits.insert(0, DIGITS - digits.size(), '0');
    return digits.append(extension);
}

} // namespace

Store::Store(const std::string& storeFolder, wire::DurableFolder::StepHook stepHook)
    : path(storeFolder)
    , hook(std::move(stepHook))
    , folder(storeFolder, hook) {
    id = folder.read(ID_FILE).value_or("");
    if (id.empty()) {
        id = wire::makeId();
        folder.replace(ID_FILE, id);
    }
    if (!wire::isId(id))
        throw std::runtime_error("the file " + path + "/" + ID_FILE + " holds no id");
}

Store::Agent& Store::find(const std::string& name) {
    Agent& agent = agents[name];
    if (agent.folder)
        return agent;
    agent.folder = std::make_unique<wire::DurableFolder>(path + AGENTS + name, hook);
    for (const std::string& file : agent.folder->list())
        if (file.ends_with(PENDING))
            agent.pending.insert(std::stoull(file));
    return agent;
}

Message Store::answer(const std::string& name, const Message& message) {
    Agent& agent = find(name);
    switch (message.type) {
    case Message::Type::Confirm:
        if (settle(agent, message.confirmed))
            agent.folder->sync();
        return Message::settled(message.confirmed);
    case Message::Type::Batch:
        settle(agent, message.confirmed); // synced together with the batch
        hold(agent, message);
        return Message::ack(message.sequence);
    case Message::Type::Ping:
        return Message::pong();
    default:
        throw wire::ProtocolError("a message \"" + wire::nameOf(message.type) + "\" that only a collector sends");
    }
}

bool Store::settle(Agent& agent, std::uint64_t confirmed) {
    const bool any = !agent.pending.empty();
    while (!agent.pending.empty()) {
        const std::uint64_t number = *agent.pending.begin();
        if (number <= confirmed)
            agent.folder->rename(nameOf(number, PENDING), nameOf(number, STORED));
        else
            agent.folder->remove(nameOf(number, PENDING));
        agent.pending.erase(number);
    }
    return any;
}

void Store::hold(Agent& agent, const Message& batch) {
    std::string content;
    for (const std::string& event : batch.events)
        content.append(event) += '\n';
    agent.folder->replace(nameOf(batch.sequence, PENDING), content);
    agent.pending.insert(batch.sequence);
}

void Store::dump(const std::string& folder, std::FILE* output) {
    if (!fs::is_directory(folder))
        throw std::runtime_error("there is no folder " + folder);
    std::vector<fs::path> files;
    if (fs::is_directory(folder + AGENTS))
        for (const auto& entry : fs::recursive_directory_iterator(folder + AGENTS))
            if (entry.path().extension() == STORED)
                files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> input(std::fopen(file.c_str(), "rb"), &std::fclose);
        if (!input)
            throw std::system_error(errno, std::generic_category(), "cannot open " + file.string());
        char block[64 * 1024];
        for (std::size_t count = 0; (count = std::fread(block, 1, sizeof block, input.get())) > 0;)
            if (std::fwrite(block, 1, count, output) != count)
                throw std::system_error(errno, std::generic_category(), "cannot write the events");
        if (std::ferror(input.get()))
            throw std::system_error(errno, std::generic_category(), "cannot read " + file.string());
    }
    if (std::fflush(output) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot write the events");
}

} // namespace collector

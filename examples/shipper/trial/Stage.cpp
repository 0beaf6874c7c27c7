#include "trial/Stage.h"

#include "collector/Store.h"

#include "base/EncodingUtils.h"
#include "base/JsonObject.h"
#include "base/JsonUtil.h"
#include "base/UtfUtils.h"
#include "concurrency/Concurrency.h"
#include "concurrency/Event.h"
#include "file/File.h"
#include "system/NorqSystem.h"
#include "thread/Thread.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace trial {
namespace {

namespace fs = std::filesystem;
using norq_std::UtfUtils;

/// A free port of a loopback address of this process's own: it stays free while its collector is down.
std::string freeAddress() {
    using boost::asio::ip::tcp;
    namespace ip = boost::asio::ip;
    const ip::address_v4 own(ip::address_v4::loopback().to_uint() + norq_std::Process::getCurrentProcessId());
    boost::asio::io_context context;
    const tcp::acceptor acceptor(context, tcp::endpoint(own, 0));
    return own.to_string() + ":" + std::to_string(acceptor.local_endpoint().port());
}

Arrived arrivedFrom(const std::string& event) {
    const auto json =
        std::dynamic_pointer_cast<norq_std::JsonObject>(norq_std::JsonUtil::parseJson(UtfUtils::utf8ToUtf16(event)));
    if (!json)
        throw std::runtime_error("this is no event: " + event);
    const norq_std::WString text = json->getString(u"text", u"");
    const bool other = json->contains(u"encoding");
    return {static_cast<std::uint64_t>(json->getLongLong(u"line", 0)),
            other ? norq_std::EncodingUtils::convertUnicodeToMbcs(text, 0) : UtfUtils::utf16ToUtf8(text)};
}

/// Calls for each stored line.
void forEachLine(const std::string& store, const std::function<void(const std::string&)>& call) {
    if (!fs::exists(store))
        return;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), &std::fclose);
    collector::Store::dump(store, file.get());
    std::rewind(file.get());
    char* line = nullptr;
    std::size_t room = 0;
    for (ssize_t length = 0; (length = getline(&line, &room, file.get())) > 0;)
        call(std::string(line, static_cast<std::size_t>(length) - 1));
    std::free(line);
}

} // namespace

void until(const std::string& what, const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(3);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            throw std::runtime_error("it did not come about that " + what);
        norq_std::Thread::sleep(20);
    }
}

Stage::Stage(const fs::path& stageFolder, std::size_t count, shipper::StateNode::Store store)
    : folder(fs::absolute(stageFolder)) {
    fs::remove_all(folder);
    fs::create_directories(folder / "agent");
    auto& system = norq_std::NorqSystem::getInstance();
    system.putEnv(u"NORQSTD_REGISTRY_USER", u"");
    system.putEnv(u"XDG_DATA_HOME", UtfUtils::utf8ToUtf16(folder / "agent"));
    system.putEnv(u"USERPROFILE", UtfUtils::utf8ToUtf16(folder / "agent"));
    const std::string own = folder.filename().string() + "-" + std::to_string(norq_std::Process::getCurrentProcessId());
    agentStopEvent = UtfUtils::utf8ToUtf16(own + "-agent");
    std::string addresses;
    for (std::size_t i = 0; i < count; ++i) {
        Collector collector;
        collector.name = "collector-" + std::to_string(i + 1);
        do // one that is free, and that no other of the stage is to have
            collector.address = freeAddress();
        while (std::ranges::any_of(collectors,
                                   [&](const Collector& other) { return other.address == collector.address; }));
        const std::string event = own + "-" + collector.name;
        collector.stopEvent = UtfUtils::utf8ToUtf16(event);
        fs::create_directories(folder / collector.name);
        std::ofstream(folder / collector.name / "collector.cfg")
            << "[collector]\nlisten=" << collector.address
            << "\nfolder=" << (folder / collector.name / "store").string() << "\nstop=" << event << "\n";
        addresses += (i == 0 ? "" : ", ") + collector.address;
        collectors.push_back(std::move(collector));
    }
    std::ofstream(folder / "agent" / "shipper.cfg")
        << "[shipper]\nworkers=2\n\n[files]\napplication=" << log() << "\n\n[delivery]\ncollectors=" << addresses
        << "\nstore=" << shipper::nameOf(store) << "\nretry=100\n";
}

Stage::~Stage() {
    killAgent();
    for (std::size_t i = 0; i < collectors.size(); ++i)
        killCollector(i);
}

std::optional<norq_std::Process> Stage::start(const std::string& program, const std::string& name,
                                              const std::string& arguments) const {
    // The shell makes way for the program, and only leads its standard error away.
    const std::string command =
        "exec \"" + program + "\" " + arguments + " 2>>\"" + (folder / name / "heard").string() + "\"";
    return norq_std::Process(norq_std::File(u"/bin/sh"), UtfUtils::utf8ToUtf16("-c '" + command + "'"),
                             norq_std::File(u""));
}

void Stage::startAgent() {
    agent = start(SHIPPER_PROGRAM, "agent",
                  "-F --stop-event " + UtfUtils::utf16ToUtf8(agentStopEvent) + " --config \"" +
                      (folder / "agent" / "shipper.cfg").string() + "\"");
}

void Stage::startCollector(std::size_t number) {
    const std::string& name = collectors[number].name;
    collectors[number].process =
        start(COLLECTOR_PROGRAM, name, "-F --config \"" + (folder / name / "collector.cfg").string() + "\"");
}

void Stage::await(const norq_std::Process& process) {
    norq_std::Concurrency::waitForSingleObject(*process.getShutdownEvent(), -1);
}

void Stage::kill(std::optional<norq_std::Process>& process) {
    if (!process)
        return;
    ::kill(static_cast<pid_t>(process->getId()), SIGKILL);
    await(*process);
    process.reset();
}

int Stage::stopAgent() { return stop(agent, agentStopEvent); }

int Stage::stopCollector(std::size_t number) { return stop(collectors[number].process, collectors[number].stopEvent); }

int Stage::stop(std::optional<norq_std::Process>& process, const norq_std::WString& event) {
    process->stop(event);
    await(*process);
    const int code = process->getExitCode();
    process.reset();
    return code;
}

std::string Stage::heardOfAgent() const {
    std::ostringstream text;
    text << std::ifstream(folder / "agent" / "heard").rdbuf();
    return text.str();
}

std::vector<Arrived> Stage::stored(std::size_t collector) const {
    std::vector<Arrived> lines;
    forEachLine(storeOf(collector), [&](const std::string& event) { lines.push_back(arrivedFrom(event)); });
    return lines;
}

std::size_t Stage::countStored() const {
    std::size_t count = 0;
    for (std::size_t i = 0; i < collectors.size(); ++i)
        forEachLine(storeOf(i), [&](const std::string&) { ++count; });
    return count;
}

} // namespace trial

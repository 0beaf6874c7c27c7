#include "Agent.h"

#include "AgentPart.h"
#include "Console.h"
#include "LineDecoder.h"
#include "Worker.h"

#include "concurrency/Concurrency.h"

#include <stdexcept>
#include <system_error>
#include <utility>

namespace shipper {
namespace {

constexpr std::int32_t QUEUED_BATCHES = 64;

norq_std::WString textOf(const std::string& bytes) { return decode(bytes.c_str(), bytes.size()).text; }

} // namespace

Agent::Agent(LiveSettings& liveSettings, RunState& runState)
    : settings(liveSettings)
    , state(runState)
    , queue(QUEUED_BATCHES)
    , current(settings.current())
    , filter(std::make_shared<MatchFilter>(textOf(current.match)))
    , output(std::make_unique<Output>(current.output, Output::Mode::Append, state.stop))
    , delivery(current.delivery.collectors.empty() ? nullptr : std::make_unique<Delivery>(current.delivery, state))
    , follower(std::make_shared<Follower>(queue, state, delivery ? &delivery->getPlaces() : nullptr)) {
    if (delivery)
        road.emplace(DeliveryRoad{delivery->getQueue(), *filter});
    registerParts();
}

Agent::~Agent() = default;

void Agent::run(norq_std::Waitable* stopRequest) {
    parts.startAll();
    std::vector<norq_std::Waitable*> events{&state.stop, &settings.changed()};
    if (stopRequest)
        events.push_back(stopRequest);
    while (norq_std::Concurrency::waitForMultipleObjects(events, norq_std::WAIT_ANY, -1) == 1) {
        for (const std::string& text : settings.takeNews())
            SHIPPER_SAY(norq_std::INFO, u"shipper::Agent::run", "settings: " + text);
        try {
            apply(settings.current());
        } catch (const std::invalid_argument& wrong) {
            SHIPPER_SAY(norq_std::ERROR, u"shipper::Agent::run",
                        std::string("settings: ") + wrong.what() + "; all stays as it was");
        }
    }
    state.stop.signal();
    parts.stopAll();
}

/// In the order in which the lines pass them, so that each is stopped when nothing more can come to it.
void Agent::registerParts() {
    const auto add = [this](const norq_std::WChar* name, AgentPart::Step start, AgentPart::Step stop) {
        parts.registerComponent(std::make_shared<AgentPart>(name, std::move(start), std::move(stop)));
    };
    add(
        u"reader", [this] { startReader(); }, [this] { reader->join(-1); });
    add(
        u"workers", [this] { setWorkers(std::exchange(current.workers, 0)); }, [this] { joinWorkers(); });
    if (delivery)
        add(
            u"delivery", [this] { delivery->start(); }, [this] { delivery->finish(); });
}

void Agent::startReader() {
    follower->setFiles(current.files);
    reader = std::make_unique<norq_std::Thread>(follower, u"follower");
    reader->start();
}

void Agent::joinWorkers() {
    state.readersDone.signal();
    for (const auto& worker : workers)
        worker->join(-1);
}

/// The output first: what is told of the rest, such as a file that is followed from now on, then holds for it too.
void Agent::apply(const Settings& next) {
    NORQ_LOG_FUNCTION_CALL(u"shipper::Agent::apply");
    const std::string outputBefore = current.output;
    const int error = next.output == outputBefore ? 0 : output->switchTo(next.output);
    if (next.match != current.match)
        filter->setText(textOf(next.match));
    if (next.workers != current.workers)
        setWorkers(next.workers);
    if (next.files != current.files)
        follower->setFiles(next.files);
    if (next.delivery != current.delivery)
        SHIPPER_SAY(norq_std::WARN, u"shipper::Agent::apply", "settings: [delivery] counts from the next start");
    current = next;
    if (error != 0) {
        SHIPPER_SAY(norq_std::ERROR, u"shipper::Agent::apply",
                    "settings: cannot write " + next.output + ": " + std::generic_category().message(error));
        current.output = outputBefore;
    }
}

/// Workers that are too many end when they next have something to do.
void Agent::setWorkers(unsigned count) {
    NORQ_LOG(norq_std::DEBUG, u"shipper::Agent::setWorkers", u"%u workers after %u.", count, current.workers);
    for (; current.workers < count; ++current.workers) {
        if (state.dismissOne()) // one that was to end may stay
            continue;
        workers.push_back(std::make_unique<norq_std::Thread>(
            std::make_shared<Worker>(queue, filter, *output, state, road ? &*road : nullptr), u"worker"));
        workers.back()->start();
    }
    for (; current.workers > count; --current.workers)
        ++state.surplusWorkers;
}

} // namespace shipper

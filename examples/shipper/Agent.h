#pragma once

#include "Delivery.h"
#include "Follower.h"
#include "MatchFilter.h"
#include "Output.h"
#include "RunState.h"
#include "Settings.h"
#include "Worker.h"

#include "service/ServiceComponentManager.h"
#include "thread/Thread.h"

#include <memory>
#include <optional>
#include <vector>

namespace shipper {

/// The shipper as an agent: follows its log files and its settings until it is told to stop.
class Agent {
public:
    Agent(LiveSettings& settings, RunState& state);
    ~Agent();

    /// Until the run is to end, or `stopRequest` is signaled, if there is one.
    void run(norq_std::Waitable* stopRequest);
    const Output& getOutput() const { return *output; }

private:
    void registerParts();
    void startReader();
    void joinWorkers();
    void apply(const Settings& next);
    void setWorkers(unsigned count);

    LiveSettings& settings;
    RunState& state;
    BatchQueue queue;
    Settings current;
    std::shared_ptr<MatchFilter> filter;
    std::unique_ptr<Output> output;
    std::unique_ptr<Delivery> delivery; ///< null without collectors
    std::optional<DeliveryRoad> road;   ///< to it
    std::shared_ptr<Follower> follower;
    std::unique_ptr<norq_std::Thread> reader;
    std::vector<std::unique_ptr<norq_std::Thread>> workers;
    norq_std::ServiceComponentManager parts;
};

} // namespace shipper

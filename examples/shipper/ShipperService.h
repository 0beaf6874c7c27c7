#pragma once

#include "Agent.h"
#include "Options.h"
#include "RunState.h"
#include "Settings.h"

#include "concurrency/Event.h"
#include "process/StopRequest.h"
#include "service/AbstractService.h"

#include <atomic>
#include <memory>
#include <optional>

namespace shipper {

/// The agent as a service: by hand in the foreground, or under systemd.
///
/// It ends when the manager or a signal says so, when another process signals the stop event that it was given, or when
/// it cannot go on; in each case it ships first what was read.
class ShipperService : public norq_std::AbstractService {
public:
    explicit ShipperService(const Options& options);

    norq_std::WString getServiceName() override { return u"shipper"; }
    void onStart() override;
    void onStop() override;
    void run() override;

    const RunState& getState() const { return state; }
    /// As `Output::failure`.
    int outputFailure() const { return agent ? agent->getOutput().failure() : 0; }

private:
    const Options options;
    RunState state;
    std::optional<LiveSettings> settings;
    std::optional<Agent> agent;
    std::optional<norq_std::StopRequest> stopRequest;
    std::atomic<bool> started{false};
    std::atomic<bool> stopping{false};
    norq_std::Event finished{false, false};
};

} // namespace shipper

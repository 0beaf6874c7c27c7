#pragma once

#include "CollectorConnection.h"
#include "DeliveryQueue.h"
#include "DeliveryState.h"
#include "FollowedFile.h"
#include "RunState.h"

#include "concurrency/Event.h"
#include "concurrency/Lock.h"
#include "connection/ConnectionManager.h"
#include "thread/Thread.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace shipper {

/// Hands events over to one of several collectors, whatever the network and the processes do (docs/shipping.md).
///
/// A thread of its own sends a batch after the other through a `ConnectionManager`, which finds another collector when
/// one is lost; another one lets collectors that were lost know what counts, once they are back.
class Delivery {
public:
    struct Settings {
        std::vector<wire::Endpoint> collectors;
        StateNode::Address state;
        int retryMs = 1000; ///< between two rounds over all collectors

        bool operator==(const Settings&) const = default;
    };

    /// Throws `StateError` if the state cannot be read or another agent uses it.
    Delivery(const Settings& settings, RunState& state);
    ~Delivery();
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;

    void start();
    /// Delivers what was put into the queue, unless that takes too long, and ends. What is left is read again after the
    /// next start.
    void finish();

    DeliveryQueue& getQueue() { return queue; }
    const PlaceKeeper& getPlaces() const { return places; }
    /// Called for each batch that was delivered, on the thread that delivers. To be set before the start.
    std::function<void(const std::string& address)> delivered;

private:
    class Sender;
    class Settler;
    class Listener;

    void run();
    /// Whether there is more to do.
    bool step();
    void deliver(CollectorSession& session);
    void waitFor(norq_std::Event& event);
    bool isFinishing();
    bool isTimeUp();
    void settleOthers();
    void settleOther(const std::string& collector, const std::string& address);
    void fail(const std::string& what);

    RunState& runState;
    DeliveryState state;
    const PlaceKeeper places;
    DeliveryQueue queue;
    norq_std::Lock contact;                  ///< held while anything is said to a collector about batches
    norq_std::Event changed{true, false};    ///< the connection came up or broke off
    norq_std::Event finishing{false, false}; ///< stays signalled
    std::chrono::steady_clock::time_point deadline;
    std::shared_ptr<CollectorConnection> connection;
    norq_std::ConnectionManager manager;
    std::optional<DeliveryBatch> inFlight;
    bool unsettled = false; ///< the collector does not know yet that its last batch counts
    std::unique_ptr<norq_std::Thread> sender;
    std::unique_ptr<Settler> settler;
};

} // namespace shipper

#pragma once

#include "DeliveryState.h"

#include "wire/Message.h"

#include <cstdint>
#include <string>
#include <vector>

namespace shipper {

/// A way to one collector, on which a message is answered. `exchange` throws `NorqConnectException` if no answer came.
class DeliveryChannel {
public:
    virtual ~DeliveryChannel() = default;
    virtual wire::Message exchange(const wire::Message& message) = 0;
    virtual std::string getAddress() const = 0;
};

/// What is handed over at once: events, and the places of their files behind them.
struct DeliveryBatch {
    std::vector<std::string> events;
    std::vector<SourcePlace> places;
};

/// The agent's side of the hand-over, free of threads and sockets; docs/shipping.md has the argument why each event
/// arrives exactly once. The first step on any channel is `greet`.
///
/// What goes to one collector is never to run beside anything else that goes to it: callers see to it with a lock.
class DeliveryProtocol {
public:
    explicit DeliveryProtocol(DeliveryState& deliveryState)
        : state(deliveryState) {}

    /// Introduces the agent; the result is the collector's id.
    std::string greet(DeliveryChannel& channel) const;
    /// Lets the collector know what counts: it keeps that, and drops what else it holds of this agent.
    void settle(DeliveryChannel& channel, const std::string& collector) const;
    /// Hands the batch over. Once this returns it is delivered; if it throws `NorqConnectException` it is not, and goes
    /// to any collector again. A batch without events only moves places.
    void deliver(DeliveryChannel& channel, const std::string& collector, const DeliveryBatch& batch) const;

private:
    DeliveryState& state;
};

} // namespace shipper

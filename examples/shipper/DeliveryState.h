#pragma once

#include "SourcePlace.h"

#include "wire/DurableFolder.h"

#include "concurrency/Lock.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace shipper {

/// What a collector is known by.
struct KnownCollector {
    std::string address;         ///< "host:port" where it was met last
    std::uint64_t delivered = 0; ///< number of the last batch that counts as delivered to it
    std::uint64_t settled = 0;   ///< the number up to which it has said that it knows that
};

/// What the agent must not forget: who it is, the number of the last batch, which collector has got what, and up to
/// where each file was delivered. One file, `delivery.json`, which is replaced as a whole, so that a batch is delivered
/// and the places have moved behind it in the same instant.
///
/// When writing fails, nothing more may be told to anybody, as if the process had been killed there: from then on
/// `deliveredTo` throws. Any thread may call any operation.
class DeliveryState {
public:
    /// Reads what is there, or begins as an agent that is new. Throws `std::runtime_error` for a file that cannot be.
    explicit DeliveryState(const std::string& folder, wire::DurableFolder::StepHook hook = {});

    const std::string& getAgent() const { return agent; }
    /// Of the last batch that was delivered.
    std::uint64_t getSequence() const;
    /// What counts as delivered to the collector, 0 for one that is not known.
    std::uint64_t deliveredTo(const std::string& collector) const;
    std::map<std::string, KnownCollector> getCollectors() const;
    /// The files of a path, in the order of their lines. Of those that were left the last few are among them.
    std::vector<SourcePlace> placesOf(const std::string& path) const;
    /// A file is being read from its beginning. Once this returns, that is known for ever.
    void recordBegin(const SourcePlace& place);

    /// The batch was acknowledged. Once this returns, that is so for ever.
    void recordDelivered(std::uint64_t sequence, const std::string& collector, const std::string& address,
                         const std::vector<SourcePlace>& places);
    /// The collector has said that it knows. Lasts with the next batch, or with `save`: it is asked again otherwise.
    void recordSettled(const std::string& collector, std::uint64_t sequence);
    /// Places that moved without a batch, over lines that nobody wants. Lasts as the above.
    void recordPlaces(const std::vector<SourcePlace>& places);
    void save();

private:
    void load(const std::string& text);
    std::string describe() const;
    void advance(const SourcePlace& place);

    mutable norq_std::Lock lock;
    wire::DurableFolder folder;
    std::string agent;
    std::uint64_t sequence = 0;
    std::map<std::string, KnownCollector> collectors;
    std::vector<SourcePlace> places;
    bool changed = false; ///< since it was written
    bool failed = false;
};

} // namespace shipper

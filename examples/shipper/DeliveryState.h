#pragma once

#include "SourcePlace.h"
#include "StateNode.h"
#include "StateRecord.h"

#include "concurrency/Lock.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace shipper {

/// A batch that was acknowledged.
struct Receipt {
    std::uint64_t batch = 0;
    std::string collector; ///< its id
    std::string address;
    std::uint64_t events = 0; ///< in it
};

/// What the agent must not forget, in a node of preferences: who it is, the last batch, which collector has got what,
/// and up to where each file was delivered.
///
/// A batch is delivered and the places have moved behind it in the same instant, the change of the one key `delivered`,
/// which tells of the last batch whole. Before the next takes its place, what it says of files and collectors is copied
/// to records of their own. Those tell what is so already, so it does not matter which of them were written last.
///
/// When writing fails, nothing more may be told to anybody, as if the process had been killed there: from then on
/// `deliveredTo` throws. Any thread may call any operation.
class DeliveryState {
public:
    /// Reads what is there, or begins as an agent that is new. Throws `StateError`.
    explicit DeliveryState(const StateNode::Address& address, StateNode::StepHook hook = {});

    const std::string& getAgent() const { return agent; }
    /// Of the last batch that was delivered.
    std::uint64_t getSequence() const;
    /// How many were delivered since the agent was new.
    std::uint64_t getEvents() const;
    /// What counts as delivered to the collector, 0 for one that is not known.
    std::uint64_t deliveredTo(const std::string& collector) const;
    std::map<std::string, KnownCollector> getCollectors() const;
    /// The files of a path, in the order of their lines. Of those that were left the last few are among them.
    std::vector<SourcePlace> placesOf(const std::string& path) const;

    // These throw `StateError`.

    /// A file is being read from its beginning. Once this returns, that is known for ever.
    void recordBegin(const SourcePlace& place);
    /// Once this returns, the batch is delivered for ever. At most `BatchRecord::MOST_PLACES` different files.
    void recordDelivered(const Receipt& receipt, const std::vector<SourcePlace>& advanced);
    /// The collector has said that it knows. Lasts with `save`, or with a batch for another one: it is asked again
    /// otherwise.
    void recordSettled(const std::string& collector, std::uint64_t batch);
    /// Places that moved without a batch, over lines that nobody wants. Lasts with the next batch or `save`.
    void recordPlaces(const std::vector<SourcePlace>& advanced);
    void save();

private:
    /// What has a record of its own, by its number.
    template <class Value>
    struct Recorded {
        std::uint64_t number = 0;
        Value value;
        bool isWritten = false; ///< as it is now
    };
    using File = Recorded<SourcePlace>;
    using Collector = Recorded<KnownCollector>;

    void load(const std::map<std::string, std::string>& values);
    void loadFiles(std::map<std::uint64_t, FileRecord>&& records, const BatchRecord& last);
    std::vector<File>::iterator findFile(const SourcePlace& place);
    void advance(const SourcePlace& place);
    Collector& collectorOf(const Receipt& receipt);
    void drop(std::vector<File>::iterator file);
    void forgetLeft(const std::string& path);
    void writeCollector(const std::string& id, Collector& collector);
    void writeFacts(const Collector* butNot);
    void saveAll();
    template <class Write>
    void writeSafely(const Write& write);

    mutable norq_std::Lock lock;
    StateNode node;
    std::string agent;
    std::uint64_t sequence = 0;
    std::uint64_t events = 0;
    std::map<std::string, Collector> collectors;
    std::vector<File> files;            ///< in the order of their numbers
    std::vector<std::uint64_t> dropped; ///< numbers of files whose records are not removed yet
    std::uint64_t lastFile = 0;         ///< the highest number that was given
    bool failed = false;
};

} // namespace shipper

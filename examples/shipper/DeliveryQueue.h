#pragma once

#include "DeliveryProtocol.h"
#include "LineBatch.h"

#include "concurrency/Event.h"
#include "concurrency/Lock.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

namespace shipper {

/// Puts what several workers make of batches of lines back into the order in which the batches were read, and joins
/// neighbours into what is handed over at once. A worker that is ahead waits, so that little is held in memory.
///
/// Any thread may call any operation.
class DeliveryQueue {
public:
    /// Workers no longer wait once `stop` is signalled.
    explicit DeliveryQueue(norq_std::Event& stopEvent)
        : stop(stopEvent) {}

    /// The next batch of lines and its number; null once `readersDone` is signalled and the queue is empty.
    std::shared_ptr<LineBatch> take(BatchQueue& lines, norq_std::Event& readersDone, std::uint64_t& number);
    /// What became of the batch of that number.
    void put(std::uint64_t number, DeliveryBatch&& batch);

    /// The next to hand over, if there is any.
    std::optional<DeliveryBatch> gather();
    /// Signalled when there may be something to gather.
    norq_std::Event& ready() { return readyEvent; }

private:
    norq_std::Event& stop;
    norq_std::Lock takeLock; ///< guards the number, in the order of taking
    std::uint64_t taken = 0;
    norq_std::Lock lock; ///< guards the rest
    std::map<std::uint64_t, DeliveryBatch> waiting;
    std::uint64_t next = 1; ///< to be gathered
    std::size_t bytes = 0;  ///< that wait
    norq_std::Event readyEvent{true, false};
    norq_std::Event room{false, true};
};

} // namespace shipper

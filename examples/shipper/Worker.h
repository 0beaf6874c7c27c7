#pragma once

#include "BatchAppender.h"
#include "DeliveryProtocol.h"
#include "LineBatch.h"
#include "LineEvent.h"
#include "Output.h"
#include "RunState.h"

#include "log/ILogEventFilter.h"
#include "log/LoggerBase.h"
#include "thread/Runnable.h"

#include <memory>

namespace shipper {

class DeliveryQueue;
class MatchFilter;

/// Where events go that are for a collector.
struct DeliveryRoad {
    DeliveryQueue& queue;
    const MatchFilter& filter;
};

/// Makes an event of each line of the queue, sends it down a log pipeline of its own, and gives the lines of each batch
/// to the output, or to a collector. Ends when the readers have, and the queue is empty; or between two batches, when
/// it is one too many.
class Worker : public norq_std::Runnable {
public:
    /// `road` is null where the events go to the output, else it outlives this.
    Worker(BatchQueue& queue, const std::shared_ptr<norq_std::ILogEventFilter>& filter, Output& output, RunState& state,
           const DeliveryRoad* road = nullptr);

    norq_std::WString toString() const override;
    void run() override;

private:
    std::shared_ptr<LineBatch> next();
    void ship(LineBatch& batch);
    /// Both give how many lines there were.
    std::uint64_t shipPlain(const LineBatch& batch, const norq_std::WString& text);
    std::uint64_t shipLineByLine(LineBatch& batch);
    void log(const LinePosition& position, const DecodedLine& line);

    BatchQueue& queue;
    Output& output;
    RunState& state;
    const DeliveryRoad* const road;
    std::uint64_t batchNumber = 0; ///< on the road
    DeliveryBatch forCollector;    ///< what the batch becomes there
    const std::shared_ptr<BatchAppender> lines;
    norq_std::LoggerBase logger;
    LineEventMaker events;
    DecodedLine current;
    std::uint64_t threadId = 0;
};

} // namespace shipper

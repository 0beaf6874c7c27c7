#pragma once

#include "LineBatch.h"
#include "LineEvent.h"
#include "OutputAppender.h"
#include "RunState.h"

#include "log/LoggerBase.h"
#include "thread/Runnable.h"

namespace shipper {

/// Makes an event of each line of the queue and sends it down the log pipeline. Writes out what is buffered when the
/// queue is empty. Ends when the readers have, and the queue is empty; or between two batches, when it is one too many.
class Worker : public norq_std::Runnable {
public:
    Worker(BatchQueue& queue, norq_std::LoggerBase& logger, OutputAppender& output, RunState& state);

    norq_std::WString toString() const override;
    void run() override;

private:
    std::shared_ptr<LineBatch> next();
    void ship(LineBatch& batch);

    BatchQueue& queue;
    norq_std::LoggerBase& logger;
    OutputAppender& output;
    RunState& state;
    LineEventMaker events;
};

} // namespace shipper

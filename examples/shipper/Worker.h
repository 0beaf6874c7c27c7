#pragma once

#include "LineBatch.h"
#include "LineEvent.h"
#include "RunState.h"

#include "log/LoggerBase.h"
#include "thread/Runnable.h"

namespace shipper {

/// Makes an event of each line of the queue and sends it down the log pipeline. Ends when the readers have, and the
/// queue is empty.
class Worker : public norq_std::Runnable {
public:
    Worker(BatchQueue& queue, norq_std::LoggerBase& logger, RunState& state);

    norq_std::WString toString() const override;
    void run() override;

private:
    std::shared_ptr<LineBatch> next();
    void ship(LineBatch& batch);

    BatchQueue& queue;
    norq_std::LoggerBase& logger;
    RunState& state;
    LineEventMaker events;
};

} // namespace shipper

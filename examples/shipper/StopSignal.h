#pragma once

#include "concurrency/Event.h"
#include "thread/Thread.h"

#include <atomic>
#include <csignal>

namespace shipper {

/// Turns the first SIGINT or SIGTERM into an event. A second one ends the process at once.
///
/// To be made before any other thread, since threads inherit from their maker which signals they leave alone.
class StopSignal {
public:
    explicit StopSignal(norq_std::Event& stop);
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    /// The signal that came, or 0.
    int received() const { return signalNumber; }

private:
    class Waiter;

    std::atomic<int> signalNumber{0};
    sigset_t signals;
    std::unique_ptr<norq_std::Thread> thread;
};

} // namespace shipper

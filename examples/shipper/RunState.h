#pragma once

#include "concurrency/Event.h"

#include <atomic>
#include <cstdint>

namespace shipper {

/// What the threads of one run share beside the queue.
struct RunState {
    norq_std::Event stop{false, false};        ///< stays signaled once the run is to end early
    norq_std::Event readersDone{false, false}; ///< stays signaled once no reader will fill the queue again

    std::atomic<std::uint64_t> lines{0};
    std::atomic<std::uint64_t> bytes{0};
    std::atomic<std::uint64_t> filesRead{0};
    std::atomic<std::uint64_t> filesFailed{0};
    std::atomic<std::uint64_t> otherEncoding{0}; ///< lines that were not UTF-8
    std::atomic<bool> broken{false};             ///< a thread met a failure that it does not know
    std::atomic<int> surplusWorkers{0};          ///< how many workers are to end before the others

    /// Whether the asking worker is one of those.
    bool dismissOne() {
        for (int surplus = surplusWorkers; surplus > 0;)
            if (surplusWorkers.compare_exchange_weak(surplus, surplus - 1))
                return true;
        return false;
    }
};

} // namespace shipper

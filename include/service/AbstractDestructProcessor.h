#pragma once

#include "base/Object.h"

#include <atomic>

namespace norq_std {

/// A switch that a class consults before it does work in its destructor.
///
/// The class calls `processDestruct` from its own destructor if the switch is on: a base class could not, since what
/// the work needs is gone by then. Any thread may turn the switch.
class NORQSTD_EXPORT AbstractDestructProcessor : public Object {
public:
    AbstractDestructProcessor();
    ~AbstractDestructProcessor() override;
    AbstractDestructProcessor(const AbstractDestructProcessor&) = delete;
    AbstractDestructProcessor& operator=(const AbstractDestructProcessor&) = delete;

    WString toString() const override;

    /// On from the start.
    bool isDestructProcessorEnabled() const { return isDestructProcessorEnabledFlag.load(std::memory_order_acquire); }
    void setIsDestructProcessorEnabled(bool enabled) {
        isDestructProcessorEnabledFlag.store(enabled, std::memory_order_release);
    }

    /// The work of the destructor.
    virtual void processDestruct() = 0;

private:
    std::atomic<bool> isDestructProcessorEnabledFlag{true};
};

} // namespace norq_std

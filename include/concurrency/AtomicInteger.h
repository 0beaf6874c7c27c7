#pragma once

#include "base/Object.h"

#include <atomic>
#include <cstdint>

namespace norq_std {

/// A counter of 32 bits that threads share. Every operation is one indivisible step and orders the memory around it as
/// a lock would; results beyond the range wrap around.
class NORQSTD_EXPORT AtomicInteger : public Object {
public:
    AtomicInteger() = default;
    explicit AtomicInteger(std::int32_t initialValue);
    AtomicInteger(const AtomicInteger&) = delete;
    AtomicInteger& operator=(const AtomicInteger&) = delete;
    ~AtomicInteger() override;

    WString toString() const override;

    std::int32_t get() const;
    void set(std::int32_t newValue);
    std::int32_t addAndGet(std::int32_t delta);
    std::int32_t getAndAdd(std::int32_t delta);
    std::int32_t incrementAndGet();
    std::int32_t decrementAndGet();
    std::int32_t getAndIncrement();
    std::int32_t getAndDecrement();
    std::int32_t getAndSet(std::int32_t newValue);
    /// True if the value was `expected`, and then it is `newValue`; otherwise nothing changes.
    bool compareAndSet(std::int32_t expected, std::int32_t newValue);

private:
    std::atomic<std::int32_t> value = 0;
};

} // namespace norq_std

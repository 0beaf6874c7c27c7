#pragma once

#include "base/Object.h"

#include <atomic>
#include <cstdint>

namespace norq_std {

/// An unsigned counter of 64 bits that threads share. Every operation is one indivisible step and orders the memory
/// around it as a lock would; results beyond the range wrap around.
class NORQSTD_EXPORT AtomicLong : public Object {
public:
    AtomicLong() = default;
    explicit AtomicLong(std::uint64_t initialValue);
    AtomicLong(const AtomicLong&) = delete;
    AtomicLong& operator=(const AtomicLong&) = delete;
    ~AtomicLong() override;

    WString toString() const override;

    std::uint64_t get() const;
    void set(std::uint64_t newValue);
    std::uint64_t addAndGet(std::uint64_t delta);
    std::uint64_t getAndAdd(std::uint64_t delta);
    std::uint64_t incrementAndGet();
    std::uint64_t decrementAndGet();
    std::uint64_t getAndIncrement();
    std::uint64_t getAndDecrement();
    std::uint64_t getAndSet(std::uint64_t newValue);
    /// True if the value was `expected`, and then it is `newValue`; otherwise nothing changes.
    bool compareAndSet(std::uint64_t expected, std::uint64_t newValue);

private:
    std::atomic<std::uint64_t> value = 0;
};

} // namespace norq_std

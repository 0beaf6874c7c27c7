#pragma once

#include "concurrency/Waitable.h"

#include <cstdint>
#include <memory>

namespace norq_std_internal {
struct SemaphorePimpl;
}

namespace norq_std {

/// A counter that cannot fall below 0, and a waitable that each increment signals.
///
/// The two are separate: `decrement` leaves the signal alone, and a wait through `Concurrency` uses up the signal and
/// leaves the counter alone. Use one or the other. Any thread may call any operation.
class NORQSTD_EXPORT Semaphore : public Waitable {
public:
    /// A negative value counts as 0. Signaled if the value is above 0.
    explicit Semaphore(std::int32_t value);
    ~Semaphore() override;

    WString toString() const override;

    void increment();
    /// Waits until the counter is above 0.
    void decrement();
    /// False, and nothing done, if the counter is 0.
    bool tryDecrement();
    int getValue() const;

    /// `increment` and `decrement` without their exceptions.
    void operator++(int);
    void operator--(int);

private:
    std::unique_ptr<norq_std_internal::SemaphorePimpl> semaphorePimpl;
};

} // namespace norq_std

#pragma once

#include "concurrency/Concurrency.h"
#include "concurrency/Event.h"
#include "concurrency/Subscription.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace norqstd_stress {

/// An event whose list of waiters can be counted, so that a schedule knows without sleeping that a waiter stands on it.
class Probe : public norq_std::Event {
public:
    using Event::Event;
    using Waitable::getSubscriberCount;
};

using Random = std::mt19937_64;

inline std::size_t pick(Random& random, std::size_t low, std::size_t high) {
    return std::uniform_int_distribution<std::size_t>(low, high)(random);
}

/// Ends the program: the library broke its contract.
[[noreturn]] void fail(const std::string& what);

inline void require(bool condition, const char* what) {
    if (!condition)
        fail(what);
}

/// Tells the watchdog that the schedule moves on.
void progress();

/// What one wait came to: the index or -1, or the message of the exception.
struct Outcome {
    std::int32_t result = -2;
    std::u16string thrown;

    bool operator==(const Outcome&) const = default;
};

Outcome runWait(const std::vector<norq_std::Waitable*>& objects, norq_std::WaitType type, std::int32_t timeoutMs);
Outcome destroyed(std::size_t index);

/// One schedule in which every step has one right outcome: waits come, objects are signaled, reset and destroyed, and
/// each wait must end when the model says, with the result that the model says.
void modelRound(Random& random);

} // namespace norqstd_stress

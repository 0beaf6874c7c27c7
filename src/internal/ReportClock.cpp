#include "internal/ReportClock.h"

#include "concurrency/TimeUtils.h"

#include <atomic>

namespace norq_std_internal {
namespace {

std::atomic<std::uint64_t (*)()> replacement{nullptr};

} // namespace

std::uint64_t reportClockMs() {
    const auto clock = replacement.load(std::memory_order_relaxed);
    return clock ? clock() : norq_std::TimeUtils::getCurrentTimeMs();
}

void setReportClock(std::uint64_t (*clock)()) { replacement.store(clock, std::memory_order_relaxed); }

} // namespace norq_std_internal

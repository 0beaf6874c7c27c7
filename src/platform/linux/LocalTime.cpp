#include "platform/LocalTime.h"

#include <atomic>
#include <mutex>
#include <time.h>

namespace norq_std_internal::platform {

namespace {

constinit std::atomic<std::uint32_t> generation{0};

/// The C library guards its zone with a lock that thread checkers do not see; this one they do.
constinit std::mutex zone;

} // namespace

// localtime_r alone reads the zone once in the life of the process.
bool localTime(std::int64_t seconds, std::tm& result) noexcept {
    const std::lock_guard guard(zone);
    tzset();
    const std::time_t time = seconds;
    return localtime_r(&time, &result) != nullptr;
}

std::uint32_t zoneGeneration() noexcept { return generation.load(std::memory_order_relaxed); }

std::string zoneName(bool daylightSaving) {
    const std::lock_guard guard(zone);
    tzset();
    generation.fetch_add(1, std::memory_order_relaxed);
    return tzname[daylightSaving ? 1 : 0];
}

} // namespace norq_std_internal::platform

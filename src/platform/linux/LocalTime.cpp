#include "platform/LocalTime.h"

#include <atomic>
#include <mutex>
#include <time.h>

namespace norq_std_internal::platform {

namespace {

std::atomic<std::uint32_t> zoneGeneration{0};

/// The C library guards its zone with a lock that thread checkers do not see; this one they do.
constinit std::mutex zone;

struct Repeated {
    std::int64_t seconds;
    std::uint32_t generation;
    bool valid;
    std::tm local;
};

constinit thread_local Repeated repeated{};

} // namespace

// localtime_r alone reads the zone once in the life of the process.
bool localTime(std::int64_t seconds, std::tm& result) noexcept {
    const std::lock_guard guard(zone);
    tzset();
    const std::time_t time = seconds;
    return localtime_r(&time, &result) != nullptr;
}

bool repeatedLocalTime(std::int64_t seconds, std::tm& result) noexcept {
    Repeated& mine = repeated;
    const std::uint32_t generation = zoneGeneration.load(std::memory_order_relaxed);
    if (!mine.valid || mine.seconds != seconds || mine.generation != generation) [[unlikely]] {
        mine.valid = localTime(seconds, mine.local);
        mine.seconds = seconds;
        mine.generation = generation;
    }
    result = mine.local;
    return mine.valid;
}

std::string zoneName(bool daylightSaving) {
    const std::lock_guard guard(zone);
    tzset();
    zoneGeneration.fetch_add(1, std::memory_order_relaxed);
    return tzname[daylightSaving ? 1 : 0];
}

} // namespace norq_std_internal::platform

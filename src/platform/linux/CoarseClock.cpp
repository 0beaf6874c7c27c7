#include "platform/CoarseClock.h"

#include <ctime>

namespace norq_std_internal::platform {

std::int64_t coarseMoment() noexcept {
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return time.tv_sec * std::int64_t{1'000'000'000} + time.tv_nsec;
}

} // namespace norq_std_internal::platform

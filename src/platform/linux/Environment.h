#pragma once

#include <mutex>

namespace norq_std_internal::platform {

/// Held by whoever in the library reads or changes the environment.
std::mutex& environmentMutex();

} // namespace norq_std_internal::platform

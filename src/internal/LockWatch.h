#pragma once

#include "base/Export.h"

#include <atomic>

namespace norq_std_internal {

/// Is told of the locks that threads take and give up, once each however often the holder takes it again.
///
/// The thread sanitizer finds locks taken in different orders, but knows the system's mutexes alone. A test program
/// that wants the order of the library's own locks checked too passes these calls on to it. Only a library built with
/// that sanitizer calls it; `taken` comes behind the taking and `givenUp` before the giving up, on the holder's thread.
struct LockWatch {
    void (*taken)(const void* lock, bool wasTried);
    void (*givenUp)(const void* lock);
    void (*destroyed)(const void* lock);
};

/// Null unless a program sets it, before it has threads.
NORQSTD_EXPORT extern std::atomic<const LockWatch*> lockWatch;

} // namespace norq_std_internal

#pragma once

#include "base/Export.h"

#include <cstdint>

namespace norq_std_internal::platform {

/// A thread that others may end: made by that thread, on its stack, before the code that is to be ended.
///
/// Once asked, the thread is looked at every few milliseconds until it stands where it can be taken down: outside of
/// every `noexcept` function, and either in the module that holds the outermost frame of the code under this object, or
/// in a blocking call that the threads library lists as a cancellation point. Then its stack is unwound as by
/// `pthread_exit`, so that destructors run. It respects a disabled cancel state.
class CancelTarget {
public:
    /// Opens the calling thread to requests. There is at most one target a thread at a time.
    CancelTarget() noexcept;
    ~CancelTarget();
    CancelTarget(const CancelTarget&) = delete;
    CancelTarget& operator=(const CancelTarget&) = delete;

    /// Asks for the end of the thread, from any thread; the caller sees to it that the target stays alive meanwhile.
    /// 0, or the error number of the system, and then nothing was asked for. A second request changes nothing.
    int request() noexcept;

private:
    std::uint64_t thread;
    void* timer = nullptr;
    bool requested = false;
};

} // namespace norq_std_internal::platform

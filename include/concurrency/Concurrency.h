#pragma once

#include "base/Export.h"

#include <cstdint>
#include <span>
#include <vector>

// The system's process waits have a macro of this name. Include this header behind theirs.
#ifdef WAIT_ANY
#undef WAIT_ANY
#endif

namespace norq_std {

class TimeSpec;
class Waitable;

enum WaitType : int {
    WAIT_ANY = 0,
    WAIT_ALL = 1, ///< and every other value
};

/// The waits: for one object, for any of several, or for all of several, with a time-out.
///
/// A time-out is in milliseconds: negative waits without limit, 0 does not sleep. A limit is an absolute point of the
/// wall clock, so setting the clock moves it. Objects may be of any mix, may stand in a vector more than once, and
/// belong to the caller, who keeps them alive until the wait has begun; one that is destroyed later ends the wait with
/// a `NorqWaitObjectDestroyedException`. A null in a vector throws `NorqIllegalArgumentException`, before anything else
/// happens.
///
/// Waiters are released in the order in which they came. What a thread wrote before it signaled an object is visible to
/// the thread whose wait that signal ends. A wait allocates nothing for up to 16 objects. Any thread may call any
/// operation; a wait that sleeps is a cancellation point, and a wait that is cancelled leaves its objects as if it had
/// never begun.
class NORQSTD_EXPORT Concurrency {
public:
    /// 0 if the object was signaled, -1 on a time-out.
    static std::int32_t waitForSingleObject(Waitable& object, std::int32_t timeoutMs);

    /// Any: the index of the lowest object that gave a signal, or -1 on a time-out. All auto-reset objects that gave
    /// this wait a signal have lost it, also those above the index. An empty vector sleeps for the time-out.
    ///
    /// All: 0 if every object gave a signal, or -1 on a time-out. The signals are taken one at a time, and what was
    /// taken before a time-out is not given back. An empty vector gives 0 at once.
    static std::int32_t waitForMultipleObjects(const std::vector<Waitable*>& objects, WaitType type,
                                               std::int32_t timeoutMs);

private:
    Concurrency() = default;

    using Objects = std::span<Waitable* const>;

    static std::int32_t waitForAny(Objects objects, std::int32_t timeoutMs);
    static std::int32_t waitForAll(Objects objects, std::int32_t timeoutMs);
    static TimeSpec getWaitTime(std::int32_t timeoutMs);
};

} // namespace norq_std

#pragma once

#include "concurrency/Waitable.h"
#include "thread/Runnable.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace norq_std_internal {
class ThreadPimpl;
}

namespace norq_std {

enum ThreadState : int {
    THREAD_NOT_STARTED = 0,
    THREAD_RUNNING = 1,
    THREAD_ENDED = 2,
};

enum ThreadPriority : int {
    LOWEST_PRIORITY = 0,
    NORMAL_PRIORITY = 1,
    HIGHEST_PRIORITY = 2,
};

/// A thread of the process: something to run, and something to wait on.
///
/// As a `Waitable` it is signaled whenever no body runs: before the first start, and from the end of the body on. So a
/// join is a wait, and one wait can join threads and watch events at once. The same object may be started again after
/// its body has ended. What a body did happens before the return of a `join` that gave true.
///
/// **Body.** Either a `Runnable`, or a subclass that overrides `run`. An exception that leaves the body is logged as
/// STD3008 and ends that thread alone. A processor fault in the body is such an exception too, see
/// `NorqException::installHandler`.
///
/// **Lifetime.** The object may be destroyed while its body runs: the thread goes on with what it holds itself, the
/// runnable included. A thread that was given a `Runnable` waits for its body for at most 3 seconds in its destructor,
/// unless it is the body that destroys it; one that was not does not wait unless told to. A subclass must see to it
/// that its `run` has ended before its own part is destroyed. A process may end while threads run.
///
/// **Cancellation.** `cancel` ends a body from outside, and is meant for bodies that cannot be told to end: prefer a
/// flag and a wakeup as in `AbstractNotificationThread`. It is asynchronous, and takes the stack down as an exception
/// would, so that guards release their locks and owners their memory. It strikes between two instructions of the body's
/// own module, or in a blocking call of the system, a wait of this library included; never inside another library, and
/// never where the stack cannot be taken down, such as in what a `noexcept` function or a destructor calls. There it
/// waits until the body comes out; a body that never does is never ended. Functions of the body's module that spin
/// where the compiler expects no exception are left without their clean-up, at once if they have none, else after half
/// a second. A lock that no guard holds stays locked. A body must not swallow the unwinding: a `catch (...)` rethrows
/// `abi::__forced_unwind`, or the process aborts.
///
/// Any thread may call any operation, except that `setName` and `setJoinOnDestruct` are not guarded.
class NORQSTD_EXPORT Thread : public Runnable, public Waitable {
public:
    /// Bytes of stack for every thread started from now on; 0 is the system's default.
    static std::atomic<std::uint32_t> defaultStackSize;

    /// For subclasses that override `run`; does not join on destruction.
    explicit Thread(const WString& name);
    /// Runs the given task; joins on destruction.
    Thread(const std::shared_ptr<Runnable>& runnable, const WString& name);
    ~Thread() override;

    WString toString() const override;

    /// The body; calls the runnable, if there is one.
    void run() override;

    /// Starts the body on a new, detached thread, which gets the name that stands at this moment. It runs under the
    /// scheduling of the thread that calls `start`.
    ///
    /// Throws `NorqIllegalStateException` if the body runs already or `defaultStackSize` is refused,
    /// `NorqOutOfResourcesException` for want of memory or threads, `NorqAccessException`,
    /// `NorqIllegalArgumentException` or `NorqUnsupportedOperationException` if the system refuses the scheduling; each
    /// leaves the state as it was.
    void start();
    /// Waits until no body runs; true if that came about in time. Time-outs are those of every wait: 0 only looks, a
    /// negative one waits without limit.
    bool join(std::int32_t timeoutMs);
    /// Waits until the body has begun: 0, or -1 if the time ran out.
    int waitForStart(std::int32_t timeoutMs);
    /// Asks for the end of the body and goes on: the thread counts as ended at once, whenever it comes down.
    /// Throws `NorqIllegalStateException` if no body runs.
    void cancel();

    ThreadState getState() const;
    /// The numeric id of the thread that runs the body; 0xFFFFFFFF while there is none.
    std::uint64_t getId() const;
    /// Both throw `NorqIllegalStateException` if no body runs. Under the system's default scheduling all three
    /// priorities are one, and NORMAL and LOWEST read back as HIGHEST.
    ThreadPriority getPriority() const;
    void setPriority(ThreadPriority priority);

    WString getName() const;
    /// Holds for the next start.
    void setName(const WString& newName);
    bool isJoinOnDestruct() const;
    void setJoinOnDestruct(bool join);

    /// Sleeps; not at all for a negative number.
    static void sleep(std::int32_t ms);
    /// The numeric id of the calling thread, whoever made it: the number under which the system's tools show it.
    static std::uint64_t getCurrentThreadId();

private:
    friend class norq_std_internal::ThreadPimpl;

    std::shared_ptr<norq_std_internal::ThreadPimpl> pimpl;
    bool joinOnDestruct;
    WString name;
};

/// Forgets the numeric ids of all threads; each is entered again when it next asks for its own.
NORQSTD_EXPORT void clearThreadIdMap();

} // namespace norq_std

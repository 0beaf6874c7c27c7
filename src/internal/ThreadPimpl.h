#pragma once

#include "concurrency/Event.h"
#include "thread/Thread.h"

#include <cstdint>
#include <memory>
#include <mutex>

#include <pthread.h>

namespace norq_std_internal {

namespace platform {
class CancelTarget;
}

/// The run-time state of a `Thread`, shared by the object and by the thread that runs its body, so that either may go
/// first. `mutex` guards all of it, and is not held while the body runs.
class ThreadPimpl : public std::enable_shared_from_this<ThreadPimpl> {
public:
    explicit ThreadPimpl(const std::shared_ptr<norq_std::Runnable>& task);
    ThreadPimpl(const ThreadPimpl&) = delete;
    ThreadPimpl& operator=(const ThreadPimpl&) = delete;

    void start(norq_std::Thread* owner);
    void cancel(norq_std::Thread* owner);
    int waitForStart(std::int32_t timeoutMs);
    norq_std::ThreadState getState();
    std::uint64_t getId();
    norq_std::ThreadPriority getPriority();
    void setPriority(norq_std::ThreadPriority priority);

    /// Whether the calling thread runs the body.
    bool isOwnBody();
    /// From now on the body does not touch the `Thread` object.
    void setObjectDestroyed();

    const std::shared_ptr<norq_std::Runnable> runnable;

private:
    struct Run;
    class Registration;

    static void* thread_func(void* argument);

    void createThread(std::unique_ptr<Run> run);
    bool begin(const Run& run, platform::CancelTarget& target);
    void leave(const platform::CancelTarget& target) noexcept;
    void end(const Run& run);
    void endExited(const Run& run);
    bool isCurrent(const Run& run) const;

    std::recursive_mutex mutex;
    norq_std::ThreadState state = norq_std::THREAD_NOT_STARTED;
    pthread_t thread{};       ///< set by start
    std::uint64_t number = 0; ///< of the latest start: a body that was cancelled may still be on its way out
    bool begun = false;       ///< the latest body has entered its id
    bool objectDestroyed = false;
    platform::CancelTarget* cancelTarget = nullptr; ///< on the stack of the running body, null before it begins
    norq_std::Event startEvent{false, false};
};

} // namespace norq_std_internal

#pragma once

#include "concurrency/Event.h"
#include "concurrency/Lock.h"
#include "thread/Thread.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace norq_std {

/// The pattern of a background worker: a thread that sleeps on an event, is woken by `wakeup`, and ends at `shutdown`.
///
/// The body is a loop: do the work, `sleepForPeriod`, leave when `isShutdown`. One `wakeup` ends at most one sleep; one
/// that comes during the work ends the next sleep at once. It may be started again after it has ended.
///
/// `shutdown` does not wait. The owner calls `shutdown` and `join`, and must do so before a subclass's own part is
/// destroyed; the destructor here only asks for the end and gives the body 10 milliseconds.
///
/// Any thread may call any operation; `sleepForPeriod` is the body's own.
class NORQSTD_EXPORT AbstractNotificationThread : public Thread {
public:
    explicit AbstractNotificationThread(const WString& name);
    AbstractNotificationThread(const std::shared_ptr<Runnable>& runnable, const WString& name);
    ~AbstractNotificationThread() override;

    WString toString() const override;

    virtual void shutdown();
    virtual void wakeup();

    /// As `Thread::start`; takes back an earlier `shutdown`.
    void start();
    bool isShutdown() const;

protected:
    /// Sleeps until woken, or for the period; a negative period has no end. 0 if woken, -1 if the period ran out.
    int sleepForPeriod(std::int32_t timeoutMs);

private:
    void shutdownQuietly();

    std::atomic<bool> isShutdownFlag{false};
    Lock lock;
    Event wakeEvent{true, false};
};

} // namespace norq_std

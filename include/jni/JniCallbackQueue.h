#pragma once

#include "base/WString.h"
#include "concurrency/Event.h"
#include "jni/IJniCallback.h"
#include "pattern/Singleton.h"

#include <deque>
#include <memory>

namespace norq_std_internal {
class CallbackPoll;
}

namespace norq_std {

class Lock;

/// What native threads want Java to know, until a Java thread comes for it.
///
/// No native thread ever calls Java: it enqueues, and a thread of the Java program takes one object after the other
/// with `dequeue` and ends when it gets null. Objects come in the order in which they were enqueued, each to one
/// caller. The queue has no limit; a program that lets things be enqueued must poll. It runs from its first use until
/// `shutdown`, once for the life of the process. Any thread may call any operation.
class NORQSTD_EXPORT JniCallbackQueue : public Singleton<JniCallbackQueue> {
public:
    ~JniCallbackQueue();

    /// Throws `NorqIllegalArgumentException` for a null, `NorqIllegalStateException` after `shutdown`.
    void enqueue(const std::shared_ptr<IJniCallback>& callback);

    /// Waits for the next entry, without limit, and makes its object on the calling thread, to which `env` belongs: a
    /// local reference. Null when the queue is shut down in the meantime, which wins over entries that wait; null with
    /// Java's exception pending if the object could not be made. The entry is gone then; so it is with a null
    /// environment, out of which a change makes null. Throws `NorqIllegalStateException` if the queue was shut down
    /// before the call.
    jobject dequeue(JNIEnv* env);

    /// Ends every wait in `dequeue` and drops what is queued. A second call does nothing.
    void shutdown();

private:
    friend class Singleton<JniCallbackQueue>;
    friend class norq_std_internal::CallbackPoll; // which tells the end from a failure

    JniCallbackQueue();

    static const WChar* getSingletonName() { return u"norq_std::JniCallbackQueue"; }
    static Lock& lock(); ///< guards the queue, and the test for shutdown with what follows from it

    std::shared_ptr<IJniCallback> dequeue();
    void checkShutdown() const;
    bool isShutdown() const;

    Event shutdownEvent;
    Event jobEvent;
    std::deque<std::shared_ptr<IJniCallback>> callbacks;
};

} // namespace norq_std

#include "jni/JniCallbackQueue.h"

#include "base/ErrorUtils.h"
#include "base/InternalLog.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Concurrency.h"
#include "concurrency/Lock.h"
#include "exception/NorqException.h"
#include "internal/LibraryLoad.h"
#include "thread/Thread.h"

#include <atomic>
#include <cstdint>

namespace norq_std {
namespace {

constexpr std::int32_t ShutdownGraceMs = 10; // for the pollers to leave their wait

constinit std::atomic<bool> inUse{false};

} // namespace

JniCallbackQueue::JniCallbackQueue()
    : shutdownEvent(false, false)
    , jobEvent(true, false) {
    inUse.store(true, std::memory_order_relaxed);
}

JniCallbackQueue::~JniCallbackQueue() { shutdown(); }

Lock& JniCallbackQueue::lock() {
    static Lock& shared = *new Lock;
    return shared;
}

void JniCallbackQueue::enqueue(const std::shared_ptr<IJniCallback>& callback) {
    constexpr const WChar* function = u"norq_std::JniCallbackQueue::enqueue";
    NORQ_LOG_FUNCTION_CALL(function);
    ErrorUtils::isNullEx(callback, function, u"JNI callback object");
    const AutoLock<Lock> guard(lock());
    checkShutdown();
    callbacks.push_back(callback);
    jobEvent.signal();
}

jobject JniCallbackQueue::dequeue(JNIEnv* env) {
    constexpr const WChar* function = u"norq_std::JniCallbackQueue::dequeue";
    NORQ_LOG_FUNCTION_CALL_TEXT(function, u"Begin. JNI Env <%p>.", static_cast<void*>(env));
    checkShutdown();
    const std::vector<Waitable*> events{&shutdownEvent, &jobEvent};
    for (;;) {
        const std::int32_t result = Concurrency::waitForMultipleObjects(events, WAIT_ANY, -1);
        if (result == 0) {
            NORQ_LOG(CALL, function, u"Got signal to terminate.");
            return nullptr;
        }
        if (result != 1) {
            NORQ_LOG(CALL, function, u"waitForMultipleObjects returned <%d>.", result);
            return nullptr;
        }
        NORQ_LOG(CALL, function, u"Got job signal.");
        // Another poller may have been quicker. Null would tell this one that all has ended, so it waits on.
        if (const std::shared_ptr<IJniCallback> callback = dequeue())
            return callback->createJniObject(env);
    }
}

std::shared_ptr<IJniCallback> JniCallbackQueue::dequeue() {
    const AutoLock<Lock> guard(lock());
    if (callbacks.empty())
        return {};
    std::shared_ptr<IJniCallback> callback = std::move(callbacks.front());
    callbacks.pop_front();
    // The event does not count: entries that came before anybody woke have left one signal together.
    if (!callbacks.empty())
        jobEvent.signal();
    return callback;
}

void JniCallbackQueue::shutdown() {
    constexpr const WChar* function = u"norq_std::JniCallbackQueue::shutdown";
    NORQ_LOG_FUNCTION_CALL(function);
    const AutoLock<Lock> guard(lock());
    if (isShutdown())
        return;
    shutdownEvent.signal();
    NORQ_LOG(CALL, function, u"Signaled termination.");
    Thread::sleep(ShutdownGraceMs);
    while (!callbacks.empty())
        callbacks.pop_front();
}

void JniCallbackQueue::checkShutdown() const {
    const AutoLock<Lock> guard(lock());
    if (!isShutdown())
        return;
    const NorqIllegalStateException failure(u"JniCallbackQueue is shutdown.");
    failure.logDebug(u"norq_std::JniCallbackQueue::checkShutdown");
    throw NorqIllegalStateException(failure);
}

bool JniCallbackQueue::isShutdown() const { return shutdownEvent.isSignaled(); }

} // namespace norq_std

namespace norq_std_internal {

void shutdownJniCallbacks() {
    if (!norq_std::inUse.load(std::memory_order_relaxed))
        return;
    try {
        norq_std::JniCallbackQueue::getInstance().shutdown();
    } catch (const norq_std::NorqException& e) { // the process ends: nobody is left to deal with it
        e.logDebug(u"norq_std::JniCallbackQueue::shutdown");
    }
}

} // namespace norq_std_internal

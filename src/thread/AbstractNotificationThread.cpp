#include "thread/AbstractNotificationThread.h"

#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Concurrency.h"

#include <cxxabi.h>

namespace norq_std {

namespace {

constexpr std::int32_t DestructorSleepMs = 10;

const WChar* asText(bool value) { return value ? u"true" : u"false"; }

} // namespace

AbstractNotificationThread::AbstractNotificationThread(const WString& threadName)
    : Thread(threadName) {}

AbstractNotificationThread::AbstractNotificationThread(const std::shared_ptr<Runnable>& runnable,
                                                       const WString& threadName)
    : Thread(runnable, threadName) {}

AbstractNotificationThread::~AbstractNotificationThread() {
    shutdownQuietly();
    sleep(DestructorSleepMs);
}

void AbstractNotificationThread::shutdownQuietly() {
    try {
        AbstractNotificationThread::shutdown();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return; // a destructor has nobody to tell
    }
}

WString AbstractNotificationThread::toString() const {
    return u"AbstractNotificationThread{" + Thread::toString() + u",isShutdownFlag='" +
           asText(isShutdownFlag.load(std::memory_order_relaxed)) + u"}";
}

void AbstractNotificationThread::start() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractNotificationThread::start");
    const AutoLock<Lock> guard(lock);
    isShutdownFlag.store(false, std::memory_order_relaxed);
    Thread::start();
}

void AbstractNotificationThread::shutdown() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractNotificationThread::shutdown");
    const AutoLock<Lock> guard(lock);
    NORQ_LOG(DEBUG, u"norq_std::AbstractNotificationThread::shutdown", u"Shutting down.");
    isShutdownFlag.store(true, std::memory_order_release);
    wakeup();
    NORQ_LOG(DUMP, u"norq_std::AbstractNotificationThread::shutdown", u"After wakeup call <%ls>.",
             asText(wakeEvent.isSignaled()));
}

void AbstractNotificationThread::wakeup() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractNotificationThread::wakeup");
    const AutoLock<Lock> guard(lock);
    wakeEvent.signal();
}

bool AbstractNotificationThread::isShutdown() const {
    const bool result = isShutdownFlag.load(std::memory_order_acquire);
    NORQ_LOG(TRACE, u"norq_std::AbstractNotificationThread::isShutdown", u"Is shutdown <%ls>.", asText(result));
    return result;
}

int AbstractNotificationThread::sleepForPeriod(std::int32_t timeoutMs) {
    NORQ_LOG(DUMP, u"norq_std::AbstractNotificationThread::sleepForPeriod", u"Sleeping for <%d> msecs.", timeoutMs);
    const int result = Concurrency::waitForSingleObject(wakeEvent, timeoutMs);
    NORQ_LOG(DUMP, u"norq_std::AbstractNotificationThread::sleepForPeriod", u"Woke up from sleep <%d>.", result);
    return result;
}

} // namespace norq_std

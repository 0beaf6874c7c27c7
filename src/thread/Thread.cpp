#include "thread/Thread.h"

#include "base/LogMacros.h"
#include "concurrency/Concurrency.h"
#include "internal/ThreadIdMap.h"
#include "internal/ThreadPimpl.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include <cxxabi.h>

namespace norq_std {

using norq_std_internal::ThreadPimpl;

namespace {

constexpr std::int32_t DestructorJoinMs = 3000;

/// The wait of a destructor, whose result does not count.
void joinQuietly(Waitable& thread) {
    try {
        Concurrency::waitForSingleObject(thread, DestructorJoinMs);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return;
    }
}

} // namespace

std::atomic<std::uint32_t> Thread::defaultStackSize{0};

Thread::Thread(const WString& threadName)
    : Waitable(false, true)
    , pimpl(std::make_shared<ThreadPimpl>(nullptr))
    , joinOnDestruct(false)
    , name(threadName) {}

Thread::Thread(const std::shared_ptr<Runnable>& runnable, const WString& threadName)
    : Waitable(false, true)
    , pimpl(std::make_shared<ThreadPimpl>(runnable))
    , joinOnDestruct(true)
    , name(threadName) {}

Thread::~Thread() {
    if (joinOnDestruct && getState() == THREAD_RUNNING && !pimpl->isOwnBody())
        joinQuietly(*this);
    pimpl->setObjectDestroyed();
}

WString Thread::toString() const { return u"Thread{name='" + name + u"'}"; }

void Thread::run() {
    // The object may be destroyed while the task runs.
    if (const std::shared_ptr<Runnable> task = pimpl->runnable)
        task->run();
}

void Thread::start() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Thread::start");
    pimpl->start(this);
}

bool Thread::join(std::int32_t timeoutMs) { return Concurrency::waitForSingleObject(*this, timeoutMs) == 0; }

int Thread::waitForStart(std::int32_t timeoutMs) {
    const std::shared_ptr<ThreadPimpl> record = pimpl;
    return record->waitForStart(timeoutMs);
}

void Thread::cancel() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Thread::cancel");
    pimpl->cancel(this);
}

ThreadState Thread::getState() const { return pimpl->getState(); }
std::uint64_t Thread::getId() const { return pimpl->getId(); }
ThreadPriority Thread::getPriority() const { return pimpl->getPriority(); }
void Thread::setPriority(ThreadPriority priority) { pimpl->setPriority(priority); }

WString Thread::getName() const { return name; }
void Thread::setName(const WString& newName) { name = newName; }
bool Thread::isJoinOnDestruct() const { return joinOnDestruct; }
void Thread::setJoinOnDestruct(bool join) { joinOnDestruct = join; }

void Thread::sleep(std::int32_t ms) {
    if (ms <= 0)
        std::this_thread::yield();
    else
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

std::uint64_t Thread::getCurrentThreadId() { return norq_std_internal::currentThreadId(); }

void clearThreadIdMap() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::clearThreadIdMap");
    norq_std_internal::ThreadIdMap::getInstance().clear();
}

} // namespace norq_std

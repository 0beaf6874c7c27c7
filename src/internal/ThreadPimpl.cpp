#include "internal/ThreadPimpl.h"

#include "base/LogMacros.h"
#include "concurrency/Concurrency.h"
#include "exception/NorqException.h"
#include "internal/ThreadIdMap.h"
#include "log/NorqLoggerSTD.h"
#include "platform/CurrentThread.h"
#include "platform/ThreadCancellation.h"
#include "thread/AbstractNotificationThread.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <string>
#include <typeinfo>
#include <utility>

#include <cxxabi.h>
#include <sched.h>

namespace norq_std_internal {

using namespace norq_std;

namespace {

constexpr const WChar* BodyFunction = u"norq_std_internal::ThreadPimpl::thread_func";

/// The limits of the default policy, asked for once.
struct SchedulingLimits {
    int highest = sched_get_priority_max(SCHED_OTHER);
    int lowest = sched_get_priority_min(SCHED_OTHER);
    int normal = (highest + lowest) / 2;
    int start = normal;

    static const SchedulingLimits& get() {
        static const SchedulingLimits limits;
        return limits;
    }
};

/// Thread attributes, destroyed on every way out.
class Attributes {
public:
    Attributes() {
        if (const int result = pthread_attr_init(&native); result == ENOMEM)
            throw NorqOutOfResourcesException(u"Out of resources to initialize thread attributes.", result);
    }
    ~Attributes() { pthread_attr_destroy(&native); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    void setScheduling() {
        check(pthread_attr_setschedpolicy(&native, SCHED_OTHER));
        sched_param parameters{};
        parameters.sched_priority = SchedulingLimits::get().start;
        check(pthread_attr_setschedparam(&native, &parameters));
        check(pthread_attr_setdetachstate(&native, PTHREAD_CREATE_DETACHED));
    }

    void setStackSize(std::uint32_t bytes) {
        if (const int result = pthread_attr_setstacksize(&native, bytes); result == EINVAL)
            throw NorqIllegalStateException(u"Invalid stack size specified.", result);
    }

    pthread_attr_t native{};

private:
    static void check(int result) {
        if (result == ENOSYS || result == ENOTSUP)
            throw NorqUnsupportedOperationException(u"The requested operation is not supported", result);
        if (result == EINVAL)
            throw NorqIllegalArgumentException(u"An illegal argument was specified.", result);
    }
};

void checkCreated(int result) {
    switch (result) {
    case EAGAIN:
    case ENOMEM:
        throw NorqOutOfResourcesException(u"Out of resources to create thread.", result);
    case EINVAL:
        throw NorqIllegalArgumentException(u"The thread attributes provided are invalid.", result);
    case EPERM:
        throw NorqAccessException(u"The caller does not have permissions to set the required policy or priority.",
                                  result);
    case 0:
        break;
    default:
        throw NorqUnknownException(u"Unable to create thread.", result);
    }
}

void checkPrioritySet(int result) {
    switch (result) {
    case EINVAL:
        throw NorqIllegalArgumentException(u"An invalid scheduling policy or scheduling parameter was specified.",
                                           result);
    case ENOTSUP:
    case ENOSYS:
        throw NorqUnsupportedOperationException(u"The specified operation is not supported.", result);
    case EPERM:
        throw NorqAccessException(u"The caller does not have the appropriate permission to set the thread priority.",
                                  result);
    case ESRCH:
        throw NorqIllegalStateException(u"The specified thread does not exist.", result);
    default:
        break;
    }
}

/// Whether a thread object runs its runnable and nothing else, so that its body can do without the object.
bool runsRunnableAlone(const Thread& thread, const std::shared_ptr<Runnable>& runnable) {
    return runnable != nullptr &&
           (typeid(thread) == typeid(Thread) || typeid(thread) == typeid(AbstractNotificationThread));
}

void reportFailure(const WString& id, const WString& name, const WString& reason) {
    NorqLoggerSTD::getInstance().STD3008(BodyFunction, id.c_str(), name.c_str(), reason.c_str());
}

} // namespace

/// What a new thread is given, and keeps until its end.
struct ThreadPimpl::Run {
    std::shared_ptr<ThreadPimpl> pimpl;
    Thread* owner; ///< to be touched under the mutex, while it is not destroyed
    bool runnableAlone;
    std::uint64_t number;
    WString name;
    WString id{};

    /// Calls the body; whatever it throws ends here, except the unwinding of a cancelled thread.
    void callBody() const;
};

/// Opens a body to cancellation, and closes it again however it is left.
class ThreadPimpl::Registration {
public:
    explicit Registration(const Run& beginning)
        : run(beginning)
        , begun(run.pimpl->begin(run, target)) {}
    ~Registration() { run.pimpl->leave(target); }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

    bool hasBegun() const { return begun; }

private:
    const Run& run;
    platform::CancelTarget target;
    bool begun;
};

ThreadPimpl::ThreadPimpl(const std::shared_ptr<Runnable>& task)
    : runnable(task) {}

bool ThreadPimpl::isCurrent(const Run& run) const { return state == THREAD_RUNNING && run.number == number; }

void ThreadPimpl::start(Thread* owner) {
    const std::lock_guard<std::recursive_mutex> guard(mutex);
    if (getState() == THREAD_RUNNING)
        throw NorqIllegalStateException(u"The current thread is already running!");
    createThread(std::make_unique<Run>(
        Run{shared_from_this(), owner, runsRunnableAlone(*owner, runnable), number + 1, owner->name}));
    ++number;
    begun = false;
    owner->setSignaled(false);
    startEvent.reset();
    state = THREAD_RUNNING;
}

void ThreadPimpl::createThread(std::unique_ptr<Run> run) {
    Attributes attributes;
    attributes.setScheduling();
    if (const std::uint32_t stackSize = Thread::defaultStackSize; stackSize > 0)
        attributes.setStackSize(stackSize);
    pthread_t created{};
    checkCreated(pthread_create(&created, &attributes.native, &ThreadPimpl::thread_func, run.get()));
    static_cast<void>(run.release()); // the new thread owns it
    thread = created;
}

void* ThreadPimpl::thread_func(void* argument) {
    const std::unique_ptr<Run> run(static_cast<Run*>(argument));
    ThreadPimpl& self = *run->pimpl;
    try {
        NorqException::installHandler();
        platform::nameCurrentThread(run->name);
        const std::string id = std::to_string(currentThreadId());
        run->id.assign(id.begin(), id.end());
        {
            const Registration registration(*run);
            if (registration.hasBegun())
                run->callBody();
        }
        self.end(*run);
    } catch (abi::__forced_unwind&) {
        self.endExited(*run);
        throw;
    } catch (...) {
        self.end(*run); // want of memory
    }
    return nullptr;
}

void ThreadPimpl::Run::callBody() const {
    try {
        if (runnableAlone)
            pimpl->runnable->run();
        else
            owner->run();
    } catch (const NorqException& e) {
        const WString message = e.getMessage();
        reportFailure(id, name, message);
        NORQ_LOG(DEBUG, BodyFunction, u"Caught exception %ls in <%ls:%ls> Thread::run", message, id, name);
    } catch (const std::exception& e) {
        reportFailure(id, name, u"Caught std::exception.");
        NORQ_LOG(DEBUG, BodyFunction, u"Caught exception <%hhs> in <%ls:%ls> Thread::run", e.what(), id, name);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        reportFailure(id, name, u"Caught unknown exception.");
        NORQ_LOG(DEBUG, BodyFunction, u"Caught unexpected exception in <%ls:%ls> Thread::run", id, name);
    }
}

/// Enters a new body; false if it was cancelled before, or its object is gone and nothing is left to run.
bool ThreadPimpl::begin(const Run& run, platform::CancelTarget& target) {
    const std::lock_guard<std::recursive_mutex> guard(mutex);
    if (run.number == number) {
        begun = true;
        startEvent.signal();
    }
    if (!isCurrent(run) || (objectDestroyed && !run.runnableAlone))
        return false;
    cancelTarget = &target;
    return true;
}

/// Takes a body out of reach of `cancel`.
void ThreadPimpl::leave(const platform::CancelTarget& target) noexcept {
    const std::lock_guard<std::recursive_mutex> guard(mutex);
    if (cancelTarget == &target)
        cancelTarget = nullptr;
}

void ThreadPimpl::end(const Run& run) {
    try {
        const std::lock_guard<std::recursive_mutex> guard(mutex);
        if (isCurrent(run) && !objectDestroyed) {
            state = THREAD_ENDED;
            startEvent.signal();
            run.owner->Waitable::signal(); // not virtual: a destructor of a subclass may be at work
        }
        ThreadIdMap::getInstance().removeCurrentThread();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        NORQ_LOG(DEBUG, BodyFunction, u"Caught unexpected exception in <%ls:%ls> locking Thread mutex.", run.id,
                 run.name);
        std::fflush(stdout);
    }
}

/// The end of a body that unwinds: only one that was not cancelled, and so ended itself by pthread_exit, still counts.
void ThreadPimpl::endExited(const Run& run) {
    const std::lock_guard<std::recursive_mutex> guard(mutex);
    if (isCurrent(run))
        end(run);
}

void ThreadPimpl::cancel(Thread* owner) {
    {
        const std::lock_guard<std::recursive_mutex> guard(mutex);
        if (getState() != THREAD_RUNNING)
            throw NorqIllegalStateException(u"The current thread is not running!");
        // A body that has not begun finds itself cancelled, and one without a target is past its end.
        if (cancelTarget != nullptr && cancelTarget->request() != 0)
            return;
        state = THREAD_ENDED;
    }
    owner->signal();
}

int ThreadPimpl::waitForStart(std::int32_t timeoutMs) {
    return Concurrency::waitForSingleObject(startEvent, timeoutMs);
}

ThreadState ThreadPimpl::getState() {
    const std::lock_guard<std::recursive_mutex> guard(mutex);
    return state;
}

std::uint64_t ThreadPimpl::getId() {
    const std::lock_guard<std::recursive_mutex> guard(mutex);
    // Before the body has entered itself, the map may still know an earlier thread under its handle.
    return state == THREAD_RUNNING && begun ? ThreadIdMap::getInstance().getId(thread) : NoThreadId;
}

ThreadPriority ThreadPimpl::getPriority() {
    const std::lock_guard<std::recursive_mutex> guard(mutex);
    if (getState() != THREAD_RUNNING)
        throw NorqIllegalStateException(u"The current thread is not running.");
    int policy = 0;
    sched_param parameters{};
    const int result = pthread_getschedparam(thread, &policy, &parameters);
    if (result == ENOSYS)
        throw NorqUnsupportedOperationException(u"The specified operation is not supported.", result);
    if (result == ESRCH)
        throw NorqIllegalStateException(u"The specified thread does not exist.", result);
    const SchedulingLimits& limits = SchedulingLimits::get();
    if (parameters.sched_priority == limits.highest)
        return HIGHEST_PRIORITY;
    return parameters.sched_priority == limits.lowest ? LOWEST_PRIORITY : NORMAL_PRIORITY;
}

void ThreadPimpl::setPriority(ThreadPriority priority) {
    const std::lock_guard<std::recursive_mutex> guard(mutex);
    if (getState() != THREAD_RUNNING)
        throw NorqIllegalStateException(u"The current thread is not running.");
    const SchedulingLimits& limits = SchedulingLimits::get();
    sched_param parameters{};
    parameters.sched_priority = priority == HIGHEST_PRIORITY  ? limits.highest
                                : priority == LOWEST_PRIORITY ? limits.lowest
                                                              : limits.normal;
    checkPrioritySet(pthread_setschedparam(thread, SCHED_OTHER, &parameters));
}

bool ThreadPimpl::isOwnBody() {
    const std::lock_guard<std::recursive_mutex> guard(mutex);
    return state == THREAD_RUNNING && pthread_equal(thread, pthread_self()) != 0;
}

void ThreadPimpl::setObjectDestroyed() {
    const std::lock_guard<std::recursive_mutex> guard(mutex);
    objectDestroyed = true;
}

} // namespace norq_std_internal

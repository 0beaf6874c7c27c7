// How a thread is ended from outside without taking the process with it.
//
// pthread_cancel with the asynchronous type unwinds from whatever instruction the thread has reached. The C++ runtime
// ends the process if a frame on the way is in a noexcept function, or in a function with an exception table at an
// instruction for which the compiler expected no exception; and a thread that dies in malloc leaves the heap locked. So
// the thread is asked by a timer signal that only it receives, and its own handler looks before it leaps: it walks the
// stack, and asks of each frame what the runtime would ask, whether the exception table covers the instruction. If
// every frame lets the unwinding through, and the innermost one is no foreign code that may hold a lock, the handler
// calls pthread_exit, which unwinds through the signal frame. Otherwise it returns, and the timer asks again.
//
// Frames of the body's own module may stand at an instruction that is not covered and never leave it: a loop over an
// atomic does, and so does its caller, since the compiler knows that neither can throw. If such frames have nothing to
// clean up, or are found like that in a good many looks, they are left behind: the thread goes on as if the
// first frame that lets the unwinding through had called pthread_exit.
//
// A blocking call that is a cancellation point is recognised by the cancel type, which this C library makes
// asynchronous for as long as such a call blocks. All other calls into foreign modules are left alone.

#include "platform/ThreadCancellation.h"

#include "platform/CurrentThread.h"
#include "platform/linux/StackWalk.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <ctime>
#include <utility>

#include <pthread.h>
#include <ucontext.h>

namespace norq_std_internal::platform {

namespace {

// Ignored by default, so that a late one is harmless; whoever else uses it gets what is not ours.
constexpr int CancelSignal = SIGURG;
constexpr long RetryNanoseconds = 2'000'000;
constexpr int PatientLooks = 250;

[[gnu::tls_model("initial-exec")]] constinit thread_local const CancelTarget* current = nullptr;
[[gnu::tls_model("initial-exec")]] constinit thread_local int looks = 0; ///< in vain, at frames that clean up

struct sigaction previousAction;

/// What a walk over the interrupted stack has found.
struct Walk {
    const void* const ownModule;     ///< this library
    const void* innermost = nullptr; ///< module of the interrupted instruction
    const void* outermost = nullptr; ///< the last one that is neither this library nor below it
    const void* candidate = nullptr;
    int frames = 0;        ///< from the interrupted one on
    bool oneModule = true; ///< all frames so far are of the innermost module
    bool cleansUp = false; ///< one of the frames so far does
    bool covered = true;   ///< the latest frame is

    /// The frames that must be left behind, and the first one that need not.
    struct Left {
        bool any = false;
        bool oneModule = true;
        bool cleanUp = false;
        FrameRegisters next{};
    };
    Left left{};

    /// Whether the walk goes on.
    bool visit(const StackFrame& frame) {
        const bool isOfHandler = frames == 0 && !frame.isInterrupted();
        if (isOfHandler)
            return true;
        enter(frame);
        judge(frame);
        return true;
    }

private:
    void enter(const StackFrame& frame) {
        const void* const module = moduleOf(frame.instruction());
        if (!covered)
            left = {true, oneModule, cleansUp, FrameRegisters(frame)};
        if (++frames == 1)
            innermost = module;
        oneModule &= module == innermost;
        // Frames below the last one of this library belong to the threads library, not to the body.
        if (module != ownModule)
            candidate = module;
        else if (candidate != nullptr)
            outermost = std::exchange(candidate, nullptr);
    }

    void judge(const StackFrame& frame) {
        CallSites sites = frame.callSites();
        bool covers = !sites.hasTable();
        bool coversWithCleanUp = false;
        bool cleansUpSomewhere = !sites.isReadable();
        for (CallSite site; sites.next(site);) {
            cleansUpSomewhere |= site.cleansUp;
            if (site.covers(frame.offset())) {
                covers = true;
                coversWithCleanUp = site.cleansUp;
            }
        }
        // Of a call that names no clean-up there is none to do; of any other instruction the compiler need not know.
        covered = covers && (!frame.isInterrupted() || coversWithCleanUp || !cleansUpSomewhere);
        cleansUp |= cleansUpSomewhere;
    }
};

bool isCancelEnabled() {
    int state = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    pthread_setcancelstate(state, nullptr);
    return state == PTHREAD_CANCEL_ENABLE;
}

bool isAsynchronous() {
    int type = 0;
    pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &type);
    pthread_setcanceltype(type, nullptr);
    return type == PTHREAD_CANCEL_ASYNCHRONOUS;
}

void endThread() { pthread_exit(PTHREAD_CANCELED); }

/// Lets the thread go on as if the first frame that need not be left behind had called `endThread`.
void leaveFrames(const Walk& walk, ucontext_t& thread) {
    walk.left.next.assignTo(thread);
    greg_t* const registers = thread.uc_mcontext.gregs;
    registers[REG_RSP] -= static_cast<greg_t>(sizeof(void*)); // where the return address lies
    registers[REG_RIP] = reinterpret_cast<greg_t>(&endThread);
}

/// Ends the calling thread, now or when the handler returns, if it stands where that can be done.
void endIfPossible(ucontext_t& thread) {
    if (!isCancelEnabled())
        return;
    Walk walk{moduleOf(reinterpret_cast<std::uintptr_t>(&endIfPossible))};
    walkStack([&](const StackFrame& frame) { return walk.visit(frame); });
    const bool inOwnCode = walk.innermost == walk.outermost;
    if (walk.frames == 0 || !walk.covered || (!inOwnCode && !isAsynchronous()))
        return;
    if (!walk.left.any) {
        current = nullptr;
        endThread();
    } else if (inOwnCode && walk.left.oneModule && (!walk.left.cleanUp || ++looks > PatientLooks)) {
        current = nullptr;
        leaveFrames(walk, thread);
    }
}

void onCancelSignal(int number, siginfo_t* info, void* context) {
    if (info->si_code == SI_TIMER && info->si_value.sival_ptr != nullptr && info->si_value.sival_ptr == current) {
        const int error = errno;
        endIfPossible(*static_cast<ucontext_t*>(context));
        errno = error;
        return;
    }
    if ((previousAction.sa_flags & SA_SIGINFO) != 0)
        previousAction.sa_sigaction(number, info, context);
    else if (previousAction.sa_handler != SIG_DFL && previousAction.sa_handler != SIG_IGN)
        previousAction.sa_handler(number);
}

void installHandler() {
    struct sigaction action {};
    action.sa_sigaction = &onCancelSignal;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(CancelSignal, &action, &previousAction);
}

} // namespace

CancelTarget::CancelTarget() noexcept
    : thread(currentThreadNumber()) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, CancelSignal);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    looks = 0;
    current = this;
}

CancelTarget::~CancelTarget() {
    current = nullptr;
    if (requested)
        timer_delete(static_cast<timer_t>(timer));
}

int CancelTarget::request() noexcept {
    if (requested)
        return 0;
    static const bool installed = (installHandler(), true);
    static_cast<void>(installed);

    sigevent event{};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = CancelSignal;
    event.sigev_value.sival_ptr = this;
    event._sigev_un._tid = static_cast<pid_t>(thread);
    timer_t created{};
    if (timer_create(CLOCK_MONOTONIC, &event, &created) != 0)
        return errno;
    const itimerspec times{{0, RetryNanoseconds}, {0, 1}};
    if (timer_settime(created, 0, &times, nullptr) != 0) {
        const int error = errno;
        timer_delete(created);
        return error;
    }
    timer = created;
    requested = true;
    return 0;
}

} // namespace norq_std_internal::platform

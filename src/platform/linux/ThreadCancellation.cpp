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

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <ctime>
#include <iterator>
#include <utility>

#include <dlfcn.h>
#include <pthread.h>
#include <ucontext.h>
#include <unwind.h>

namespace norq_std_internal::platform {

namespace {

// Ignored by default, so that a late one is harmless; whoever else uses it gets what is not ours.
constexpr int CancelSignal = SIGURG;
constexpr long RetryNanoseconds = 2'000'000;
constexpr int PatientLooks = 250;

[[gnu::tls_model("initial-exec")]] constinit thread_local const CancelTarget* current = nullptr;
[[gnu::tls_model("initial-exec")]] constinit thread_local int looks = 0; ///< in vain, at frames that clean up

struct sigaction previousAction;

/// Reads the table of a function's call sites, as the C++ runtime does when an exception passes.
class CallSiteTable {
public:
    CallSiteTable(const unsigned char* table, std::uintptr_t functionStart)
        : p(table)
        , start(functionStart) {}

    /// Looks for an instruction. Encodings that this compiler does not write count as not covered, with clean-ups.
    void find(std::uintptr_t instruction) {
        covered = false;
        cleansUp = true;
        if (*p++ != Omitted)
            return;
        if (*p++ != Omitted)
            number();
        encoding = *p++;
        if (encoding != Uleb128 && encoding != Udata4)
            return;
        const std::uintptr_t length = number();
        const unsigned char* const end = p + length;
        const std::uintptr_t offset = instruction - start;
        cleansUp = false;
        while (p < end) {
            const std::uintptr_t begin = value();
            const std::uintptr_t size = value();
            const bool hasPad = value() != 0;
            number();
            cleansUp |= hasPad;
            if (offset >= begin && offset < begin + size) {
                covered = true;
                cleansUpHere = hasPad;
            }
        }
    }

    bool covered = false;      ///< an exception may pass at the instruction
    bool cleansUp = false;     ///< the function catches or cleans up somewhere
    bool cleansUpHere = false; ///< and it does so at the instruction

private:
    static constexpr unsigned char Omitted = 0xFF;
    static constexpr unsigned char Uleb128 = 0x01;
    static constexpr unsigned char Udata4 = 0x03;

    std::uintptr_t number() {
        std::uintptr_t result = 0;
        for (unsigned shift = 0;; shift += 7) {
            const unsigned char byte = *p++;
            result |= static_cast<std::uintptr_t>(byte & 0x7F) << shift;
            if ((byte & 0x80) == 0)
                return result;
        }
    }

    std::uintptr_t value() {
        if (encoding == Uleb128)
            return number();
        std::uint32_t result = 0;
        for (unsigned shift = 0; shift < 32; shift += 8)
            result |= static_cast<std::uint32_t>(*p++) << shift;
        return result;
    }

    const unsigned char* p;
    std::uintptr_t start;
    unsigned char encoding = 0;
};

const void* moduleOf(std::uintptr_t address) {
    dl_find_object object{};
    return _dl_find_object(reinterpret_cast<void*>(address), &object) == 0 ? object.dlfo_map_start : nullptr;
}

/// The registers that a function leaves as it found them, in the order of their numbers in unwind tables.
struct SavedRegister {
    int number;
    int slot;
};
constexpr SavedRegister SavedRegisters[] = {{3, REG_RBX},  {6, REG_RBP},  {12, REG_R12},
                                            {13, REG_R13}, {14, REG_R14}, {15, REG_R15}};

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

    /// The frames that must be left behind, and the stack pointer and saved registers of the first one that need not.
    struct Left {
        bool any = false;
        bool oneModule = true;
        bool cleanUp = false;
        std::uintptr_t stack = 0;
        std::uintptr_t registers[std::size(SavedRegisters)] = {};
    };
    Left left{};

    void enterFrame(_Unwind_Context* context, const void* module) {
        if (!covered) {
            left.any = true;
            left.oneModule = oneModule;
            left.cleanUp = cleansUp;
            left.stack = _Unwind_GetCFA(context);
            for (std::size_t i = 0; i < std::size(SavedRegisters); ++i)
                left.registers[i] = _Unwind_GetGR(context, SavedRegisters[i].number);
        }
        if (++frames == 1)
            innermost = module;
        oneModule &= module == innermost;
        // Frames below the last one of this library belong to the threads library, not to the body.
        if (module != ownModule)
            candidate = module;
        else if (candidate != nullptr)
            outermost = std::exchange(candidate, nullptr);
    }
};

_Unwind_Reason_Code visit(_Unwind_Context* context, void* argument) {
    Walk& walk = *static_cast<Walk*>(argument);
    int beforeInstruction = 0;
    const std::uintptr_t ip = _Unwind_GetIPInfo(context, &beforeInstruction);
    const std::uintptr_t instruction = beforeInstruction != 0 ? ip : ip - 1;
    if (walk.frames == 0 && beforeInstruction == 0)
        return _URC_NO_REASON; // a frame of the handler itself
    walk.enterFrame(context, moduleOf(instruction));
    walk.covered = true;
    if (const auto* table = static_cast<const unsigned char*>(_Unwind_GetLanguageSpecificData(context))) {
        CallSiteTable sites(table, _Unwind_GetRegionStart(context));
        sites.find(instruction);
        // Of a call that names no clean-up there is none to do; of any other instruction the compiler need not know.
        const bool isCall = beforeInstruction == 0;
        walk.covered = sites.covered && (isCall || sites.cleansUpHere || !sites.cleansUp);
        walk.cleansUp |= sites.cleansUp;
    }
    return _URC_NO_REASON;
}

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
    greg_t* const registers = thread.uc_mcontext.gregs;
    for (std::size_t i = 0; i < std::size(SavedRegisters); ++i)
        registers[SavedRegisters[i].slot] = static_cast<greg_t>(walk.left.registers[i]);
    registers[REG_RSP] = static_cast<greg_t>(walk.left.stack - sizeof(void*)); // where the return address lies
    registers[REG_RIP] = reinterpret_cast<greg_t>(&endThread);
}

/// Ends the calling thread, now or when the handler returns, if it stands where that can be done.
void endIfPossible(ucontext_t& thread) {
    if (!isCancelEnabled())
        return;
    Walk walk{moduleOf(reinterpret_cast<std::uintptr_t>(&visit))};
    _Unwind_Backtrace(&visit, &walk);
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

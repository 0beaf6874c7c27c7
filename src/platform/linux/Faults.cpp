#include "platform/Faults.h"

#include "platform/Error.h"
#include "platform/linux/FaultChain.h"
#include "platform/linux/FaultContext.h"
#include "platform/linux/StackReserve.h"
#include "platform/linux/StackWalk.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <pthread.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

// A fault arrives as a signal on the thread's alternate stack. The exception is thrown straight out of the handler: the
// unwinder knows the frame that the kernel made, and finds the landing pads of the very instruction that faulted.
//
// The handlers are installed once and never again, even if somebody replaces them: who came later calls the handler
// that it found, and two that call each other would go round for ever.
//
// A virtual machine belongs in front of them: it is asked about faults far more often, watches over its handlers, and
// hands on what it does not know to those that it found, or that its signal library told it of. That library hides the
// machine's handlers from us and keeps ours behind them, so that all handlers seen here may be replaced.
//
// A stack that ends inside the C library is another matter: an allocator left by an exception would keep its lock.
// There the reserve is opened, the function runs to its end, and its return faults in its place.

namespace norq_std_internal::platform {
namespace {

struct ServedThread {
    FaultTranslator translator;
    StackBounds stack;
    StackReserve reserve;
    bool translating;
    std::uintptr_t returnFromCLibrary; ///< where a hooked function would have returned to; 0 for none
    FaultRecord deferred;              ///< what is thrown then
};

// Read in the handler, where the first access to other thread-local data might allocate.
constinit thread_local ServedThread self __attribute__((tls_model("initial-exec"))){nullptr, {}, {}, false, 0, {}};

/// What stood before, and what the program has set behind the translation since; the latter counts.
struct Previous {
    int signal;
    struct sigaction action;
    std::atomic<SignalAction> behind;
    SignalAction alone; ///< what the program has set where no translation stands
};

constinit std::array<Previous, 4> previousActions{{{SIGSEGV, {}, nullptr, nullptr},
                                                   {SIGBUS, {}, nullptr, nullptr},
                                                   {SIGFPE, {}, nullptr, nullptr},
                                                   {SIGILL, {}, nullptr, nullptr}}};

constinit std::mutex installing;
constinit bool handlersStand = false; // guarded by it

constinit std::atomic<const void*> virtualMachine{nullptr}; // its module

Previous* previousOf(int signal) {
    return std::find_if(previousActions.begin(), previousActions.end(),
                        [&](const Previous& p) { return p.signal == signal; });
}

[[noreturn]] void translate(FaultContext& context, const FaultRecord& record) {
    struct Translating {
        Translating() { self.translating = true; }
        ~Translating() { self.translating = false; }
    };
    const Translating translating;
    if (record.code == fault::StackOverflow)
        self.reserve.open();
    context.prepareForUnwinding(self.stack);
    context.restoreModes();
    self.translator(record);
    __builtin_unreachable();
}

/// Ends as the signal ends a process without handlers: a fault happens again when the handler returns, a signal that
/// was sent is sent again.
void actByDefault(int signal, bool isFault) {
    struct sigaction byDefault = {};
    byDefault.sa_handler = SIG_DFL;
    ::sigaction(signal, &byDefault, nullptr);
    if (!isFault)
        ::raise(signal);
}

void callPrevious(int signal, siginfo_t* info, void* interrupted) {
    if (const SignalAction behind = previousOf(signal)->behind.load(); behind != nullptr) {
        behind(signal, info, interrupted);
        return;
    }
    struct sigaction& action = previousOf(signal)->action;
    const bool isFault = info->si_code > 0;
    const bool ignored = (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_IGN;
    const bool none = (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_DFL;
    if (none || (ignored && isFault)) {
        actByDefault(signal, isFault);
        return;
    }
    if (ignored)
        return;
    const struct sigaction called = action;
    if ((called.sa_flags & static_cast<int>(SA_RESETHAND)) != 0) {
        action.sa_flags = 0;
        action.sa_handler = SIG_DFL;
    }
    sigset_t blocked = called.sa_mask;
    if ((called.sa_flags & SA_NODEFER) == 0)
        sigaddset(&blocked, signal);
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    if ((called.sa_flags & SA_SIGINFO) != 0)
        called.sa_sigaction(signal, info, interrupted);
    else
        called.sa_handler(signal);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

extern "C" void norqstdOnFault(int signal, siginfo_t* info, void* interrupted) {
    const int interruptedError = errno;
    // A positive code says that the processor raised it; what was sent is nobody's fault.
    if (self.translator != nullptr && !self.translating && info->si_code > 0) {
        FaultContext context(signal, *info, interrupted);
        if (self.returnFromCLibrary != 0 && context.isAtReturnHook()) {
            context.returnTo(std::exchange(self.returnFromCLibrary, 0));
            translate(context, self.deferred);
        }
        if (!context.exhaustsStackInCLibrary(self.stack)) {
            const void* const module = context.module(self.stack);
            const void* const machine = virtualMachine.load();
            if (module != nullptr && module != machine &&
                (machine == nullptr || !context.runsIntoGeneratedCode(self.stack)))
                translate(context, context.record(self.stack));
        } else if (self.returnFromCLibrary == 0 && self.reserve.open()) {
            self.deferred = context.record(self.stack);
            self.returnFromCLibrary = context.hookReturnFromCLibrary();
            if (self.returnFromCLibrary != 0) {
                errno = interruptedError;
                return;
            }
        }
    }
    callPrevious(signal, info, interrupted);
    errno = interruptedError;
}

bool isOfVirtualMachine(const struct sigaction& action) {
    const void* const machine = virtualMachine.load();
    return machine != nullptr && (action.sa_flags & SA_SIGINFO) != 0 &&
           moduleOf(reinterpret_cast<std::uintptr_t>(action.sa_sigaction)) == machine;
}

bool installHandlers() {
    const std::lock_guard guard(installing);
    if (handlersStand)
        return true;
    for (Previous& previous : previousActions) {
        if (::sigaction(previous.signal, nullptr, &previous.action) != 0)
            return false;
        if (isOfVirtualMachine(previous.action)) {
            errno = ENOTSUP;
            return false;
        }
    }
    struct sigaction ours = {};
    ours.sa_sigaction = norqstdOnFault;
    ours.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    sigemptyset(&ours.sa_mask);
    for (const Previous& previous : previousActions)
        if (::sigaction(previous.signal, &ours, nullptr) != 0)
            return false;
    handlersStand = true;
    return true;
}

/// The stack on which the calling thread's handlers run, from here to the thread's end. One that is there and large
/// enough is kept.
class AlternateStack {
public:
    AlternateStack() = default;
    AlternateStack(const AlternateStack&) = delete;
    AlternateStack& operator=(const AlternateStack&) = delete;
    ~AlternateStack() { release(); }

    bool arrange() {
        if (::sigaltstack(nullptr, &before) != 0)
            return false;
        if ((before.ss_flags & SS_DISABLE) == 0 && before.ss_size >= needed()) {
            kept = true;
            return true;
        }
        mapping = ::mmap(nullptr, mappedSize(), PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK | MAP_NORESERVE, -1, 0);
        if (mapping == MAP_FAILED)
            return false;
        stack_t ours = {};
        ours.ss_sp = usable();
        ours.ss_size = needed();
        if (::mprotect(mapping, pageSize(), PROT_NONE) == 0 && ::sigaltstack(&ours, nullptr) == 0)
            return true;
        release();
        return false;
    }

private:
    void release() {
        if (mapping == MAP_FAILED && !kept)
            return;
        self.translator = nullptr;
        giveUpStackReserve();
        if (kept)
            return;
        stack_t current = {};
        if (::sigaltstack(nullptr, &current) == 0 && current.ss_sp == usable())
            ::sigaltstack(&before, nullptr);
        ::munmap(mapping, mappedSize());
        mapping = MAP_FAILED;
    }

    static std::size_t pageSize() { return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)); }

    /// Room for the kernel's record of all registers, the unwinder and the making of the exception's texts.
    static std::size_t needed() {
        const std::size_t page = pageSize();
        const std::size_t size =
            std::max<std::size_t>(::getauxval(AT_MINSIGSTKSZ), static_cast<std::size_t>(MINSIGSTKSZ)) + 128 * 1024;
        return (size + page - 1) / page * page;
    }
    static std::size_t mappedSize() { return pageSize() + needed(); }

    void* usable() const { return static_cast<char*>(mapping) + pageSize(); }

    void* mapping = MAP_FAILED;
    stack_t before = {};
    bool kept = false;
};

StackBounds boundsOfThisStack() {
    StackBounds bounds;
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0)
        return bounds;
    void* low = nullptr;
    std::size_t size = 0;
    if (pthread_attr_getstack(&attributes, &low, &size) == 0) {
        bounds.low = reinterpret_cast<std::uintptr_t>(low);
        bounds.high = bounds.low + size;
    }
    pthread_attr_destroy(&attributes);
    return bounds;
}

} // namespace

bool serveFaultsOfThisThread(FaultTranslator translator) {
    thread_local AlternateStack alternateStack;
    if (!installFaultHandlers())
        return false;
    if (self.translator == nullptr) {
        self.stack = boundsOfThisStack();
        if (!alternateStack.arrange()) {
            setLastErrorFromNative();
            return false;
        }
        if (virtualMachine.load() == nullptr)
            self.reserve.arrange(self.stack);
    } else {
        self.reserve.close();
    }
    self.translator = translator;
    return true;
}

bool installFaultHandlers() {
    const bool installed = installHandlers();
    if (!installed)
        setLastErrorFromNative();
    return installed;
}

void setVirtualMachine(const void* code) { virtualMachine = moduleOf(reinterpret_cast<std::uintptr_t>(code)); }

void giveUpStackReserve() noexcept { self.reserve.release(self.stack); }

bool isFaultSignal(int signal) noexcept { return previousOf(signal) != previousActions.end(); }

bool setActionBehindFaults(int signal, SignalAction action) {
    const std::lock_guard guard(installing);
    Previous& previous = *previousOf(signal);
    if (handlersStand) {
        previous.behind.store(action);
        return true;
    }
    struct sigaction current = {};
    if (::sigaction(signal, nullptr, &current) != 0)
        return false;
    if (isOfVirtualMachine(current)) { // which hands on to what stood when it came, and cannot do without its own
        errno = ENOTSUP;
        return previous.alone == action;
    }
    struct sigaction ours = {};
    ours.sa_sigaction = action;
    ours.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&ours.sa_mask);
    if (::sigaction(signal, &ours, nullptr) != 0)
        return false;
    previous.alone = action;
    return true;
}

void restoreStackReserve() noexcept { self.reserve.close(); }

} // namespace norq_std_internal::platform

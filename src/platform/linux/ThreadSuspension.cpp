// How a thread is stopped from outside without holding up the process.
//
// A signal that only the thread receives has a handler that waits until the thread may go on. Between the signal and
// the wait the handler looks where the thread stands. Under a shield (the log) the stop is put off to the shield's end.
// In the code of another module (the allocator, the C library) it asks to be tried again, and after a moment it is; the
// third time at the same place, asleep before each, the thread is taken to block there, and is stopped. One that is
// ready and gets no processor stands still too, with the allocator's lock perhaps. What is left are locks that are held
// around a blocking call, or in the thread's own code. Those are found by the probe: it takes the locks in question
// while the thread stands, and a helper lets the thread go on for a moment if the probe makes no end; then the place
// was a bad one, and another is tried.
//
// The helper takes no lock and allocates nothing. It and whoever stops the thread share the state's mutex, held by the
// latter for as long as the helper is at work; the thread takes it too before it ends, so that a signal never goes to a
// number that some other thread has meanwhile.

#include "platform/ThreadSuspension.h"

#include "platform/CurrentThread.h"
#include "platform/linux/StackWalk.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <linux/futex.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

namespace norq_std_internal::platform {

namespace {

using Word = std::atomic<std::uint32_t>;

constexpr std::uint32_t Running = 0;
constexpr std::uint32_t Requested = 1;  ///< to stop where that is harmless
constexpr std::uint32_t Unshielded = 2; ///< to stop wherever there is no shield
constexpr std::uint32_t Elsewhere = 3;  ///< answer: not harmless here
constexpr std::uint32_t Deferred = 4;   ///< answer: at the end of the shield
constexpr std::uint32_t Suspended = 5;
constexpr std::uint32_t Anywhere = 6; ///< request to stop at once

constexpr long Nanosecond = 1;
constexpr long Microsecond = 1000 * Nanosecond;
constexpr long Millisecond = 1000 * Microsecond;
constexpr long Second = 1000 * Millisecond;

constexpr int SamePlaces = 3;   ///< in as many looks: the thread blocks there
constexpr int QuickLooks = 100; ///< then the looks are a millisecond apart
constexpr int Looks = 1000;     ///< then it is stopped anywhere
constexpr long QuickPause = 50 * Microsecond;
constexpr long AnswerLimit = 10 * Second;
constexpr long DeferralLimit = 5 * Second;
constexpr long ProbeLimit = 20 * Millisecond;
constexpr long WorkLimit = 200 * Millisecond;
constexpr long Moment = 2 * Millisecond; ///< that the helper lets the thread go on
constexpr int Probes = 200;
constexpr std::size_t ProbeBytes = 40'000; ///< of a block in the thread's own heap, whose lock a change of size takes

int suspendSignal() { return SIGRTMIN + 14; }

timespec inNanoseconds(long time) { return {time / Second, time % Second}; }

void sleepFor(long time) {
    const timespec left = inNanoseconds(time);
    ::clock_nanosleep(CLOCK_MONOTONIC, 0, &left, nullptr);
}

/// Until the word is no longer `value`; false if that takes too long.
bool awaitChange(Word& word, std::uint32_t value, long limit) {
    timespec end{};
    ::clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += limit / Second;
    while (word.load() == value) {
        const long result =
            ::syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, value, &end, nullptr, FUTEX_BITSET_MATCH_ANY);
        if (result != 0 && errno == ETIMEDOUT)
            return word.load() != value;
    }
    return true;
}

void wake(Word& word) { ::syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, INT32_MAX, nullptr, nullptr, 0); }

/// Waits for `semaphore` at most so long.
bool comesInTime(sem_t& semaphore, long limit) {
    timespec end{};
    ::clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_nsec += limit;
    end.tv_sec += end.tv_nsec / Second;
    end.tv_nsec %= Second;
    int result = 0;
    do
        result = ::sem_clockwait(&semaphore, CLOCK_MONOTONIC, &end);
    while (result != 0 && errno == EINTR);
    return result == 0;
}

void await(sem_t& semaphore) {
    while (::sem_wait(&semaphore) != 0 && errno == EINTR) {
    }
}

struct Place {
    std::uintptr_t instruction = 0;
    std::uintptr_t stack = 0;
    bool operator==(const Place&) const = default;
};

} // namespace

struct SuspendTarget::State {
    State() {
        ::sem_init(&begin, 0, 0);
        ::sem_init(&end, 0, 0);
        ::sem_init(&done, 0, 0);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        if (helper.joinable()) {
            closing = true;
            ::sem_post(&begin);
            helper.join();
        }
        std::free(probeBlock); // NOLINT(cppcoreguidelines-no-malloc): it is changed by realloc
        ::sem_destroy(&begin);
        ::sem_destroy(&end);
        ::sem_destroy(&done);
    }

    // Of the thread itself.
    void onSignal(const ucontext_t& context);
    void stand(std::uint32_t request);

    // Of others.
    bool stop();
    bool look(std::uint32_t request);
    bool isAsleep() const;
    void letGo();
    void startHelper();
    void help();
    void relieve();
    void beginWatch(long limit);
    bool endWatch();
    void touchHeap();

    std::recursive_mutex mutex;
    bool attached = false; // guarded by the mutex
    bool watched = false;  // guarded by the mutex
    pid_t thread = 0;      // guarded by the mutex
    void* probeBlock = nullptr;
    std::size_t probeSize = ProbeBytes;

    Word word{Running};
    std::atomic<bool> shallStand{false};
    const void* ownModule = nullptr;
    Place place; ///< written before an answer

    std::thread helper;
    sem_t begin{};
    sem_t end{};
    sem_t done{};
    std::atomic<bool> closing{false};
    std::atomic<long> watchLimit{0};
    std::atomic<bool> disturbed{false};
};

namespace {

/// Of each thread; the handler may read nothing that has to be made first.
struct ThreadState {
    std::atomic<SuspendTarget::State*> target;
    std::atomic<int> shields;
};
[[gnu::tls_model("initial-exec")]] constinit thread_local ThreadState self{nullptr, 0};

struct sigaction previousAction;

void onSuspendSignal(int number, siginfo_t* info, void* context) {
    const int error = errno;
    if (SuspendTarget::State* const target = self.target.load(std::memory_order_relaxed); target != nullptr)
        target->onSignal(*static_cast<ucontext_t*>(context));
    else if ((previousAction.sa_flags & SA_SIGINFO) != 0)
        previousAction.sa_sigaction(number, info, context);
    else if (previousAction.sa_handler != SIG_DFL && previousAction.sa_handler != SIG_IGN)
        previousAction.sa_handler(number);
    errno = error;
}

void installHandler() {
    struct sigaction action {};
    action.sa_sigaction = &onSuspendSignal;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigemptyset(&action.sa_mask);
    ::sigaction(suspendSignal(), &action, &previousAction);
}

} // namespace

// ---- on the thread

SuspensionShield::SuspensionShield() noexcept {
    self.shields.store(self.shields.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

SuspensionShield::~SuspensionShield() {
    std::atomic_signal_fence(std::memory_order_seq_cst);
    const int left = self.shields.load(std::memory_order_relaxed) - 1;
    self.shields.store(left, std::memory_order_relaxed);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (SuspendTarget::State* const target = self.target.load(std::memory_order_relaxed);
        left == 0 && target != nullptr && target->word.load(std::memory_order_relaxed) == Deferred)
        target->stand(Deferred);
}

void SuspendTarget::State::onSignal(const ucontext_t& context) {
    const std::uint32_t request = word.load();
    if (request != Requested && request != Unshielded && request != Anywhere)
        return;
    const greg_t* const registers = context.uc_mcontext.gregs;
    place = {static_cast<std::uintptr_t>(registers[REG_RIP]), static_cast<std::uintptr_t>(registers[REG_RSP])};
    std::uint32_t answer = Suspended;
    if (request != Anywhere && self.shields.load(std::memory_order_relaxed) > 0)
        answer = Deferred;
    else if (request == Requested && moduleOf(place.instruction) != ownModule)
        answer = Elsewhere;
    if (answer == Suspended) {
        stand(request);
    } else {
        std::uint32_t expected = request;
        word.compare_exchange_strong(expected, answer);
        wake(word);
    }
}

/// Waits until the thread may go on.
void SuspendTarget::State::stand(std::uint32_t request) {
    if (!word.compare_exchange_strong(request, Suspended))
        return;
    wake(word);
    while (word.load() == Suspended)
        ::syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, Suspended, nullptr, nullptr, 0);
}

void SuspendTarget::attach(Code ownCode) noexcept {
    static const bool installed = (installHandler(), true);
    static_cast<void>(installed);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, suspendSignal());
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);

    const std::lock_guard guard(state->mutex);
    state->probeBlock = std::malloc(ProbeBytes); // NOLINT(cppcoreguidelines-no-malloc): it is changed by realloc
    state->ownModule = moduleOf(reinterpret_cast<std::uintptr_t>(ownCode));
    state->thread = static_cast<pid_t>(currentThreadNumber());
    state->attached = true;
    self.target = state.get();
}

void SuspendTarget::detach() noexcept {
    const std::lock_guard guard(state->mutex);
    state->attached = false;
    self.target = nullptr;
}

// ---- of whoever stops it

/// One signal and its answer. False if there is none.
bool SuspendTarget::State::look(std::uint32_t request) {
    std::uint32_t before = word.load();
    do
        if (before == Suspended)
            return true;
    while (!word.compare_exchange_weak(before, request));
    if (::syscall(SYS_tgkill, ::getpid(), thread, suspendSignal()) == 0 && awaitChange(word, request, AnswerLimit))
        return true;
    std::uint32_t expected = request;
    return !word.compare_exchange_strong(expected, Running); // it may have answered just now
}

/// Whether the thread waits in the kernel; true as well where the system does not tell.
bool SuspendTarget::State::isAsleep() const {
    char path[64];
    char stat[64]; // "number (name) state ..."
    std::snprintf(path, sizeof path, "/proc/self/task/%d/stat", thread);
    const int file = ::open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return true;
    const ssize_t size = ::read(file, stat, sizeof stat);
    ::close(file);
    const std::string_view text(stat, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    const std::size_t nameEnd = text.rfind(") ");
    return nameEnd == std::string_view::npos || nameEnd + 2 == text.size() || text[nameEnd + 2] != 'R';
}

bool SuspendTarget::State::stop() {
    Place last;
    int same = 0;
    std::uint32_t request = Requested;
    for (int looks = 0;; ++looks) {
        const bool asleep = isAsleep();
        if (!look(request))
            return false;
        const bool deferredTooLong = word.load() == Deferred && !awaitChange(word, Deferred, DeferralLimit);
        if (word.load() == Suspended)
            return true;
        same = asleep && place == last ? same + 1 : 1;
        last = place;
        if (deferredTooLong)
            request = Anywhere;
        else if (same >= SamePlaces || looks > Looks)
            request = Unshielded;
        if (request == Requested)
            sleepFor(looks < QuickLooks ? QuickPause : Millisecond);
    }
}

void SuspendTarget::State::letGo() {
    word = Running;
    wake(word);
}

void SuspendTarget::State::startHelper() {
    if (helper.joinable())
        return;
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    helper = std::thread([this] {
        nameCurrentThread(u"norq-relief");
        help();
    });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void SuspendTarget::State::help() {
    for (;;) {
        await(begin);
        if (closing)
            return;
        while (!comesInTime(end, watchLimit))
            if (shallStand && word.load() == Suspended)
                relieve();
        ::sem_post(&done);
    }
}

void SuspendTarget::State::relieve() {
    disturbed = true;
    letGo();
    sleepFor(Moment);
    stop();
    if (!shallStand) // it was resumed meanwhile
        letGo();
}

void SuspendTarget::State::beginWatch(long limit) {
    disturbed = false;
    watchLimit = limit;
    ::sem_post(&begin);
}

/// Whether the thread had to go on meanwhile.
bool SuspendTarget::State::endWatch() {
    ::sem_post(&end);
    await(done);
    return disturbed;
}

void SuspendTarget::State::touchHeap() {
    const std::size_t size = probeSize == ProbeBytes ? 2 * ProbeBytes : ProbeBytes;
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): it is the size that is changed
    if (void* const changed = std::realloc(probeBlock, size); changed != nullptr) {
        probeBlock = changed;
        probeSize = size;
    }
}

SuspendTarget::SuspendTarget()
    : state(std::make_unique<State>()) {}

SuspendTarget::~SuspendTarget() = default;

bool SuspendTarget::suspend(const std::function<void()>& probe) {
    const std::lock_guard guard(state->mutex);
    if (!state->attached)
        return false;
    if (state->shallStand)
        return true;
    state->startHelper();
    state->shallStand = true;
    return state->shallStand = stopAndProbe(probe);
}

bool SuspendTarget::stopAndProbe(const std::function<void()>& probe) {
    for (int attempt = 0; attempt < Probes; ++attempt) {
        if (!state->stop())
            return false;
        state->beginWatch(ProbeLimit);
        state->touchHeap();
        probe();
        if (!state->endWatch())
            return isSuspended();
        state->letGo();
        sleepFor(Millisecond);
    }
    return state->stop(); // its locks are held wherever it stands
}

void SuspendTarget::resume() noexcept {
    state->shallStand = false;
    if (isSuspended())
        state->letGo();
}

bool SuspendTarget::isSuspended() const noexcept { return state->word.load() == Suspended; }

SuspensionRelief::SuspensionRelief(const std::shared_ptr<SuspendTarget>& stopped, std::function<void()> settled)
    : target(stopped)
    , probe(std::move(settled)) {
    if (target == nullptr)
        return;
    target->state->mutex.lock();
    watching = !target->state->watched && target->state->shallStand;
    target->state->watched |= watching;
    if (watching)
        target->state->beginWatch(WorkLimit);
    else
        target->state->mutex.unlock();
}

SuspensionRelief::~SuspensionRelief() {
    if (!watching)
        return;
    const bool disturbed = target->state->endWatch();
    if (disturbed && target->state->shallStand) {
        target->state->letGo();
        target->stopAndProbe(probe);
    }
    target->state->watched = false;
    target->state->mutex.unlock();
}

} // namespace norq_std_internal::platform

#include "platform/linux/SignalThreads.h"

#include "platform/CurrentThread.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <pthread.h>
#include <semaphore.h>
#include <unistd.h>

// One thread sleeps on a semaphore, which a signal handler may post, and which no program closes by accident as it
// would a descriptor. It blocks every signal itself, and starts a thread for each signal number that has something to
// do: a handler that hangs over Ctrl-C does not keep Ctrl-\ from its own.

namespace norq_std_internal::platform {
namespace {

constexpr int Kinds = 3;

struct Number {
    std::array<std::atomic<unsigned>, Kinds> waiting;
    std::atomic<bool> served; ///< a thread handles it, or is being started

    bool takeOne(int kind) noexcept {
        unsigned count = waiting[static_cast<std::size_t>(kind)].load();
        while (count != 0)
            if (waiting[static_cast<std::size_t>(kind)].compare_exchange_weak(count, count - 1))
                return true;
        return false;
    }
    bool any() const noexcept {
        for (const std::atomic<unsigned>& count : waiting)
            if (count.load() != 0)
                return true;
        return false;
    }
};

constinit std::array<Number, NSIG> numbers{};
constinit std::atomic<pid_t> owner{0};
constinit DeferredSignal deferred = nullptr;
constinit sigset_t handlerMask{}; ///< of the thread that was there first: threads started by a handler inherit it
sem_t arrived;

void* serve(void* argument) {
    const int signal = static_cast<int>(reinterpret_cast<std::intptr_t>(argument));
    Number& number = numbers[static_cast<std::size_t>(signal)];
    do {
        for (int kind = 0; kind < Kinds; ++kind)
            while (number.takeOne(kind))
                deferred(signal, static_cast<SignalKind>(kind));
        number.served.store(false);
    } while (number.any() && !number.served.exchange(true));
    return nullptr;
}

void* serveOnOwnThread(void* argument) {
    nameCurrentThread(u"signal");
    pthread_sigmask(SIG_SETMASK, &handlerMask, nullptr);
    return serve(argument);
}

bool startThread(void* (*body)(void*), void* argument) {
    pthread_attr_t attributes;
    if (const int error = pthread_attr_init(&attributes); error != 0) {
        errno = error;
        return false;
    }
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const int error = pthread_create(&thread, &attributes, body, argument);
    pthread_attr_destroy(&attributes);
    errno = error;
    return error == 0;
}

void* handOut(void*) {
    nameCurrentThread(u"signals");
    for (;;) {
        while (sem_wait(&arrived) != 0) {
        }
        for (int signal = 1; signal < NSIG; ++signal) {
            Number& number = numbers[static_cast<std::size_t>(signal)];
            void* const argument = reinterpret_cast<void*>(static_cast<std::intptr_t>(signal));
            if (number.any() && !number.served.exchange(true) && !startThread(serveOnOwnThread, argument))
                serve(argument);
        }
    }
}

} // namespace

bool startSignalThreads(DeferredSignal handler) {
    if (hasSignalThreads())
        return true;
    deferred = handler;
    for (Number& number : numbers) { // a forked child begins anew
        for (std::atomic<unsigned>& count : number.waiting)
            count.store(0);
        number.served.store(false);
    }
    sigset_t all;
    sigfillset(&all);
    if (sem_init(&arrived, 0, 0) != 0 || pthread_sigmask(SIG_SETMASK, &all, &handlerMask) != 0)
        return false;
    const bool started = startThread(handOut, nullptr);
    const int error = errno;
    pthread_sigmask(SIG_SETMASK, &handlerMask, nullptr);
    if (started)
        owner.store(getpid());
    errno = error;
    return started;
}

bool hasSignalThreads() noexcept { return owner.load() == getpid(); }

void deferSignal(int signal, SignalKind kind) noexcept {
    numbers[static_cast<std::size_t>(signal)].waiting[static_cast<std::size_t>(kind)].fetch_add(1);
    sem_post(&arrived);
}

} // namespace norq_std_internal::platform

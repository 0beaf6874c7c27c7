#include "platform/linux/OrphanReaper.h"

#include "platform/CurrentThread.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <exception>
#include <thread>
#include <utility>

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/wait.h>

namespace norq_std_internal::platform {

namespace {

/// Keeps the signals of the program away from threads that are made while it lives.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t before{};
};

} // namespace

OrphanReaper& OrphanReaper::instance() {
    static OrphanReaper& reaper = *new OrphanReaper;
    return reaper;
}

OrphanReaper::OrphanReaper() { ::pthread_atfork(beforeFork, afterForkInParent, afterForkInChild); }

void OrphanReaper::beforeFork() { instance().mutex.lock(); }

void OrphanReaper::afterForkInParent() { instance().mutex.unlock(); }

/// The thread, the children and what the set holds are the parent's. Whatever this process put into the set, the parent
/// would take for a number of its own.
void OrphanReaper::afterForkInChild() {
    OrphanReaper& reaper = instance();
    reaper.late.clear();
    reaper.epoll = Descriptor();
    reaper.watched = 0;
    reaper.mutex.unlock();
}

void OrphanReaper::adopt(Descriptor child) noexcept {
    try {
        const std::lock_guard guard(mutex);
        late.push_back(std::move(child));
        while (!late.empty() && watch(late.back()))
            late.pop_back();
    } catch (const std::exception&) { // no memory: a zombie is the lesser evil
    }
}

bool OrphanReaper::watch(Descriptor& child) {
    if (!epoll.valid() && !startThread())
        return false;
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = child.get();
    if (::epoll_ctl(epoll.get(), EPOLL_CTL_ADD, child.get(), &event) != 0)
        return false;
    static_cast<void>(child.release()); // its number is in the set
    ++watched;
    return true;
}

bool OrphanReaper::startThread() {
    Descriptor created(::epoll_create1(EPOLL_CLOEXEC));
    if (!created.valid())
        return false;
    const BlockedSignals blocked;
    epoll = std::move(created);
    try {
        std::thread([this] { run(); }).detach();
    } catch (const std::exception&) {
        epoll = Descriptor();
        return false;
    }
    return true;
}

void OrphanReaper::run() noexcept {
    nameCurrentThread(u"OrphanReaper");
    std::array<epoll_event, 64> events{};
    for (;;) {
        const int count = ::epoll_wait(epoll.get(), events.data(), static_cast<int>(events.size()), -1);
        for (int i = 0; i < count; ++i) {
            const Descriptor ended(events[static_cast<std::size_t>(i)].data.fd);
            siginfo_t ignored{};
            ::waitid(P_PIDFD, static_cast<id_t>(ended.get()), &ignored, WEXITED);
            // Closing alone leaves it in the set where a fork has copied the descriptor.
            ::epoll_ctl(epoll.get(), EPOLL_CTL_DEL, ended.get(), nullptr);
        }
        const std::lock_guard guard(mutex);
        watched -= static_cast<std::size_t>(std::max(count, 0));
        if (watched == 0) {
            epoll = Descriptor();
            return;
        }
    }
}

} // namespace norq_std_internal::platform

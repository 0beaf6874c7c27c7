#pragma once

#include "support/Limits.h"

#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace norqstd_test {

/// A thread that does what a script tells it, one step after the other.
class Actor {
public:
    Actor()
        : thread([this] { work(); }) {}
    ~Actor() {
        post(nullptr);
        thread.join();
    }
    Actor(const Actor&) = delete;
    Actor& operator=(const Actor&) = delete;

    /// Begins a step; the future is ready, or holds its exception, when the step is done.
    std::future<void> begin(std::function<void()> step) {
        auto task = std::make_shared<std::packaged_task<void()>>(std::move(step));
        std::future<void> done = task->get_future();
        post([task] { (*task)(); });
        return done;
    }
    /// Does a step and waits for it; rethrows what it threw.
    void act(std::function<void()> step) { begin(std::move(step)).get(); }

private:
    void post(std::function<void()> step) {
        std::unique_lock<std::mutex> guard(mutex);
        changed.wait(guard, [this] { return !pending; });
        next = std::move(step);
        pending = true;
        changed.notify_all();
    }
    void work() {
        for (;;) {
            std::function<void()> current;
            {
                std::unique_lock<std::mutex> guard(mutex);
                changed.wait(guard, [this] { return pending; });
                current = std::move(next);
                pending = false;
                changed.notify_all();
            }
            if (!current)
                return;
            current();
        }
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::function<void()> next;
    bool pending = false;
    std::thread thread;
};

/// Waits until a condition that another thread brings about holds; false if that took too long.
template <class Condition>
bool eventually(const Condition& condition) {
    const auto limit = std::chrono::steady_clock::now() + longLimit();
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit)
            return false;
        std::this_thread::yield();
    }
    return true;
}

inline bool isReady(const std::future<void>& future) {
    return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}
inline bool becomesReady(const std::future<void>& future) {
    return future.wait_for(longLimit()) == std::future_status::ready;
}

} // namespace norqstd_test

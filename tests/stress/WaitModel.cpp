#include "Stress.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace norqstd_stress {

using namespace norq_std;

namespace {

/// A thread that makes one wait at a time on behalf of the schedule. Idle threads live on from round to round.
class Waiter {
public:
    void start(std::vector<Waitable*> objects, WaitType type, std::int32_t timeoutMs) {
        const std::lock_guard guard(mutex);
        job = [=, this] { outcome = runWait(objects, type, timeoutMs); };
        finished = false;
        changed.notify_all();
    }

    Outcome finish() {
        std::unique_lock guard(mutex);
        changed.wait(guard, [this] { return finished; });
        return outcome;
    }

private:
    void run() {
        for (;;) {
            std::unique_lock guard(mutex);
            changed.wait(guard, [this] { return job != nullptr; });
            const auto current = std::exchange(job, nullptr);
            guard.unlock();
            current();
            guard.lock();
            finished = true;
            changed.notify_all();
        }
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::function<void()> job;
    bool finished = true;
    Outcome outcome;
    std::thread thread{[this] { run(); }};
};

/// The objects and waits as they should be, beside the real ones.
class Model {
public:
    explicit Model(Random& source)
        : random(source)
        , slots(pick(source, 2, pick(source, 0, 3) == 0 ? 64 : 6)) {
        for (Slot& slot : slots)
            renew(slot);
    }

    void arrive(Waiter& thread) {
        waits.emplace_back(thread);
        Wait& wait = waits.back();
        const std::size_t size = pick(random, 1, std::min<std::size_t>(2 * slots.size(), 40));
        std::vector<Waitable*> objects;
        for (std::size_t i = 0; i < size; ++i) {
            wait.slots.push_back(pick(random, 0, slots.size() - 1));
            objects.push_back(slots[wait.slots.back()].real.get());
        }
        wait.states.assign(size, SUBSCRIBED);
        wait.all = pick(random, 0, 2) == 0;
        const bool poll = pick(random, 0, 4) == 0;
        for (std::size_t i = 0; i < size; ++i)
            if (Slot& slot = slots[wait.slots[i]]; slot.set) {
                slot.set = !slot.autoReset;
                wait.states[i] = SIGNALED;
            }
        evaluate(wait);
        if (!wait.done && poll) {
            wait.done = true;
            wait.expected = Outcome{-1, {}};
        }
        // Lets a wait for all that is complete go through, and tells of every other one that it has begun.
        wait.last = std::make_unique<Probe>(false, wait.all && wait.done);
        objects.push_back(wait.last.get());
        thread.start(objects, wait.all ? WAIT_ALL : WAIT_ANY, poll ? 0 : pick(random, 0, 1) == 0 ? -1 : 3'600'000);
        if (wait.done)
            check(wait);
        else
            enlist(wait);
    }

    void signal() {
        Slot& slot = slots[pick(random, 0, slots.size() - 1)];
        slot.set = !slot.autoReset || slot.list.empty();
        wake(slot, SIGNALED, slot.autoReset ? std::min<std::size_t>(1, slot.list.size()) : slot.list.size(),
             [&] { slot.real->signal(); });
    }

    void reset() {
        Slot& slot = slots[pick(random, 0, slots.size() - 1)];
        slot.set = false;
        slot.real->reset();
    }

    void destroy(std::size_t index) {
        Slot& slot = slots[index];
        wake(slot, DESTROYED, slot.list.size(), [&] { slot.real.reset(); });
        renew(slot);
    }

    void destroySome() { destroy(pick(random, 0, slots.size() - 1)); }

    /// Destroys what waits still hang on.
    void end() {
        for (Wait& wait : waits)
            while (!wait.done)
                destroy(wait.slots[static_cast<std::size_t>(
                    std::find(wait.states.begin(), wait.states.end(), SUBSCRIBED) - wait.states.begin())]);
        for (Slot& slot : slots) {
            require(slot.real->getSubscriberCount() == 0, "a finished wait left a trace on an object");
            require(slot.real->isSignaled() == slot.set, "an object's signaled state is not the model's");
        }
    }

    std::size_t freeWaits() const {
        return static_cast<std::size_t>(
            std::count_if(waits.begin(), waits.end(), [](const Wait& w) { return !w.done; }));
    }
    bool uses(const Waiter& thread) const {
        return std::any_of(waits.begin(), waits.end(), [&](const Wait& w) { return &w.thread == &thread && !w.done; });
    }

private:
    struct Wait {
        explicit Wait(Waiter& waiter)
            : thread(waiter) {}

        Waiter& thread;
        std::vector<std::size_t> slots;
        std::vector<SubscriptionState> states;
        std::unique_ptr<Probe> last; ///< the wait's own, behind the others
        bool all = false;
        bool done = false;
        Outcome expected;
    };
    struct Slot {
        std::unique_ptr<Probe> real;
        bool autoReset = false;
        bool set = false;
        std::deque<std::pair<Wait*, std::size_t>> list;
    };

    void renew(Slot& slot) {
        slot.autoReset = pick(random, 0, 3) != 0;
        slot.set = pick(random, 0, 7) == 0;
        slot.list.clear();
        slot.real = std::make_unique<Probe>(slot.autoReset, slot.set);
    }

    void enlist(Wait& wait) {
        for (std::size_t i = 0; i < wait.slots.size(); ++i)
            if (wait.states[i] == SUBSCRIBED)
                slots[wait.slots[i]].list.emplace_back(&wait, i);
        while (wait.last->getSubscriberCount() == 0)
            std::this_thread::yield();
        if (wait.all)
            wait.last->signal();
    }

    template <class F>
    void wake(Slot& slot, SubscriptionState state, std::size_t count, F act) {
        std::vector<Wait*> woken;
        for (std::size_t i = 0; i < count; ++i) {
            const auto [wait, position] = slot.list.front();
            slot.list.pop_front();
            wait->states[position] = state;
            woken.push_back(wait);
        }
        act();
        for (Wait* wait : woken)
            if (!wait->done) {
                evaluate(*wait);
                if (wait->done)
                    check(*wait);
            }
    }

    void evaluate(Wait& wait) {
        std::size_t i = 0;
        const auto passed = wait.all ? SIGNALED : SUBSCRIBED;
        while (i < wait.states.size() && wait.states[i] == passed)
            ++i;
        if (i == wait.states.size())
            wait.done = wait.all;
        else
            wait.done = wait.all ? wait.states[i] == DESTROYED : true;
        if (wait.done)
            wait.expected = i < wait.states.size() && wait.states[i] == DESTROYED
                                ? destroyed(i)
                                : Outcome{wait.all ? 0 : static_cast<std::int32_t>(i), {}};
    }

    void check(Wait& wait) {
        for (Slot& slot : slots)
            std::erase_if(slot.list, [&](const auto& entry) { return entry.first == &wait; });
        require(wait.thread.finish() == wait.expected, "a wait ended otherwise than the model says");
        progress();
    }

    Random& random;
    std::vector<Slot> slots;
    std::deque<Wait> waits;
};

} // namespace

void modelRound(Random& random) {
    static std::vector<Waiter>& threads = *new std::vector<Waiter>(6);
    Model model(random);
    for (std::size_t steps = pick(random, 10, 60); steps > 0; --steps) {
        const std::size_t step = pick(random, 0, 15);
        if (step < 6) {
            const auto idle =
                std::find_if(threads.begin(), threads.end(), [&](const Waiter& w) { return !model.uses(w); });
            if (idle != threads.end())
                model.arrive(*idle);
        } else if (step < 14) {
            model.signal();
        } else if (step == 14) {
            model.reset();
        } else {
            model.destroySome();
        }
    }
    model.end();
}

} // namespace norqstd_stress

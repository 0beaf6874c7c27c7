// Random schedules against the waits: norqstd-wait-stress [seconds [seed]]. A broken contract, a lost wake-up or a
// deadlock ends the program with a report that names the seed.

#include "Stress.h"

#include "concurrency/AutoLock.h"
#include "concurrency/Lock.h"
#include "exception/NorqException.h"
#include "internal/NumberText.h"
#include "support/Limits.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <pthread.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace norqstd_stress {

using namespace norq_std;

namespace {

std::atomic<std::uint64_t> moves{0};
std::atomic<std::uint64_t> seed{0};
std::atomic<const char*> roundName{"none"};

/// Reports a schedule that stands still, with what its objects and waits look like to the kernel.
void watch() {
    std::uint64_t seen = 0;
    auto since = std::chrono::steady_clock::now();
    for (;;) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        const auto now = std::chrono::steady_clock::now();
        if (const std::uint64_t current = moves; current != seen) {
            seen = current;
            since = now;
        } else if (now - since > norqstd_test::longLimit() * 3) {
            fail("no progress: a wake-up was lost or threads lock each other out");
        }
    }
}

// The thread sanitizer's own locks do not bear a signal at any instruction.
#ifdef __SANITIZE_THREAD__
constexpr bool MAY_DISTURB = false;
#else
constexpr bool MAY_DISTURB = true;
#endif

/// Stops threads of this process at any instruction for a moment, to open the gaps that schedules rarely fall into.
void disturb() {
    struct sigaction action {};
    action.sa_flags = SA_RESTART;
    // No thread is cancelled in here, at any instruction of its own: the C library's signal for that waits too, which
    // sigfillset leaves out, and the sleep is none of the C library's.
    std::memset(&action.sa_mask, 0xFF, sizeof action.sa_mask);
    action.sa_handler = [](int) {
        const timespec moment{0, 20'000};
        syscall(SYS_nanosleep, &moment, nullptr);
    };
    sigaction(SIGUSR1, &action, nullptr);
    for (;;)
        for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
            if (const int id = std::stoi(task.path().filename()); id != gettid())
                tgkill(getpid(), id, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
}

Outcome attempt(const std::vector<Waitable*>& objects, WaitType type, std::int32_t timeoutMs) {
    return {Concurrency::waitForMultipleObjects(objects, type, timeoutMs), {}};
}

std::int32_t someTimeout(Random& random) {
    return pick(random, 0, 2) == 0 ? -1 : static_cast<std::int32_t>(pick(random, 0, 2));
}

/// Work is counted beside each object before it is signaled, and whoever a wait releases takes the work of all the
/// objects that it waited for. If a wake-up is lost, or used up by a wait that reports a time-out, work stays lying.
class DrainRound {
public:
    explicit DrainRound(std::uint64_t roundSeed)
        : random(roundSeed)
        , items(pick(random, 2, pick(random, 0, 1) ? 64 : 4)) {
        for (Item& item : items)
            item.event = std::make_unique<Probe>(pick(random, 0, 3) != 0, false);
    }

    void run() {
        std::vector<std::thread> waiters;
        std::vector<std::size_t> order(items.size());
        for (std::size_t i = 0; i < order.size(); ++i)
            order[i] = i;
        std::shuffle(order.begin(), order.end(), random);
        waiters.emplace_back(&DrainRound::wait, this, order, WAIT_ANY, random());
        std::reverse(order.begin(), order.end());
        waiters.emplace_back(&DrainRound::wait, this, order, WAIT_ANY, random());
        for (std::size_t i = pick(random, 0, 2); i > 0; --i) {
            std::vector<std::size_t> some(pick(random, 1, items.size()));
            for (std::size_t& index : some)
                index = pick(random, 0, items.size() - 1);
            waiters.emplace_back(&DrainRound::wait, this, some, i == 1 ? WAIT_ALL : WAIT_ANY, random());
        }
        std::vector<std::thread> signallers;
        for (std::size_t i = pick(random, 1, 3); i > 0; --i)
            signallers.emplace_back(&DrainRound::signal, this, random());
        for (std::thread& thread : signallers)
            thread.join();
        while (std::any_of(items.begin(), items.end(), [](const Item& item) { return item.work != 0; }))
            std::this_thread::yield();
        stop.signal();
        for (std::thread& thread : waiters)
            thread.join();
        for (const Item& item : items) {
            require(item.given == item.taken, "work was lost or invented");
            require(item.event->getSubscriberCount() == 0, "a finished wait left a trace on an object");
        }
    }

private:
    struct Item {
        std::unique_ptr<Probe> event;
        std::atomic<std::uint64_t> work{0};
        std::atomic<std::uint64_t> given{0};
        std::atomic<std::uint64_t> taken{0};
    };

    void signal(std::uint64_t threadSeed) {
        Random own(threadSeed);
        for (std::size_t i = pick(own, 1, 150); i > 0; --i) {
            Item& item = items[pick(own, 0, items.size() - 1)];
            item.given.fetch_add(1, std::memory_order_relaxed);
            item.work.fetch_add(1, std::memory_order_relaxed);
            item.event->signal();
            if (pick(own, 0, 7) == 0)
                std::this_thread::yield();
        }
    }

    void wait(std::vector<std::size_t> indices, WaitType type, std::uint64_t threadSeed) {
        Random own(threadSeed);
        std::vector<Waitable*> objects;
        for (const std::size_t index : indices)
            objects.push_back(items[index].event.get());
        if (type == WAIT_ANY)
            objects.insert(objects.begin() + static_cast<std::ptrdiff_t>(pick(own, 0, objects.size())), &stop);
        while (!stop.isSignaled()) {
            const std::int32_t limit = type == WAIT_ALL ? 1 : someTimeout(own);
            const std::int32_t result = attempt(objects, type, limit).result;
            progress();
            // A wait for any that reports a time-out has taken nothing; one for all may have taken some.
            if (result >= 0 || type == WAIT_ALL)
                for (const std::size_t index : indices)
                    drain(items[index]);
            else
                require(limit >= 0, "a wait without limit timed out");
        }
    }

    static void drain(Item& item) {
        if (item.event->toString().find(u"autoReset=0") != WString::npos)
            item.event->reset();
        item.taken += item.work.exchange(0);
    }

    Random random;
    std::vector<Item> items;
    Probe stop{false, false};
};

/// Waits that stand on one event, one that just arrives, and signals that all come at once: of so many signals, so many
/// waits end, and what is left over stays on the event.
void countRound(Random& random) {
    for (std::size_t repeat = 0; repeat < 20; ++repeat) {
        const std::size_t listed = pick(random, 0, 2);
        const std::size_t signals = pick(random, 1, 3);
        const bool arriving = pick(random, 0, 1) == 0;
        auto event = std::make_unique<Probe>(true, false);
        std::atomic<std::size_t> released{0};
        std::atomic<bool> start{false};
        std::vector<std::thread> waits;
        const auto wait = [&, event = event.get()] { released += runWait({event}, WAIT_ANY, -1).result == 0; };
        for (std::size_t i = 0; i < listed; ++i)
            waits.emplace_back(wait);
        while (event->getSubscriberCount() != listed)
            std::this_thread::yield();
        const auto atOnce = [&](auto act) {
            return std::thread([&start, act] {
                while (!start)
                    std::this_thread::yield();
                act();
            });
        };
        std::vector<std::thread> signallers;
        for (std::size_t i = 0; i < signals; ++i)
            signallers.push_back(atOnce([event = event.get()] { event->signal(); }));
        if (arriving)
            waits.push_back(atOnce(wait));
        start = true;
        for (std::thread& thread : signallers)
            thread.join();
        const std::size_t least = std::min(signals, waits.size());
        while (released < least || event->getSubscriberCount() != waits.size() - least)
            std::this_thread::yield();
        require(released == least, "more waits ended than signals were given");
        require(arriving || event->isSignaled() == (signals > listed), "a signal was lost or doubled");
        event.reset();
        for (std::thread& thread : waits)
            thread.join();
        progress();
    }
}

/// Two threads hand a turn back and forth; then a signal meets the end of a time-out, and is taken or left, never lost.
void meetRound(Random& random) {
    Event ping(true, false);
    Event pong(true, false);
    const std::size_t turns = pick(random, 1, 300);
    std::thread partner([&] {
        for (std::size_t i = 0; i < turns; ++i) {
            Concurrency::waitForSingleObject(ping, -1);
            pong.signal();
        }
    });
    for (std::size_t i = 0; i < turns; ++i) {
        ping.signal();
        Concurrency::waitForSingleObject(pong, -1);
    }
    partner.join();
    for (std::size_t repeat = 0; repeat < 10; ++repeat) {
        std::thread signaller([&, pause = std::chrono::microseconds(pick(random, 950, 1150))] {
            const auto at = std::chrono::steady_clock::now() + pause;
            while (std::chrono::steady_clock::now() < at) {
            }
            ping.signal();
        });
        const bool taken = Concurrency::waitForMultipleObjects({&pong, &ping}, WAIT_ANY, 1) == 1;
        signaller.join();
        require(taken != ping.isSignaled(), "a signal at the end of a time-out was lost or doubled");
        ping.reset();
        progress();
    }
}

/// Waits that have begun, while their objects are signaled and destroyed and their time runs out.
class DestroyRound {
public:
    explicit DestroyRound(Random& source)
        : random(source)
        , objects(pick(source, 2, 20))
        , cases(pick(source, 1, 5)) {
        for (Object& object : objects) {
            object.autoReset = pick(random, 0, 1) == 0;
            object.event = std::make_unique<Probe>(object.autoReset, false);
            object.fate = static_cast<Fate>(pick(random, 0, 2));
        }
        for (Case& one : cases)
            begin(one);
    }

    void run() {
        for (Case& one : cases)
            while (!one.ended && one.last->getSubscriberCount() == 0)
                std::this_thread::yield();
        std::thread signaller([&] { each(SIGNALLED, [](auto& event) { event->signal(); }); });
        std::thread destroyer([&] { each(GONE, [](auto& event) { event.reset(); }); });
        signaller.join();
        destroyer.join();
        each(LEFT, [](auto& event) { event.reset(); });
        for (Case& one : cases)
            one.last.reset();
        for (Case& one : cases)
            if (one.type == WAIT_ANY)
                check(one);
        // Of two waits for all that share a signal, one still sleeps.
        each(SIGNALLED, [](auto& event) { event.reset(); });
        for (Case& one : cases)
            if (one.type == WAIT_ALL)
                check(one);
        for (const Object& object : objects)
            require(!object.autoReset || object.taken <= 1, "one signal released two waits");
    }

private:
    enum Fate { LEFT, SIGNALLED, GONE };
    struct Object {
        std::unique_ptr<Probe> event;
        bool autoReset = false;
        Fate fate = LEFT;
        int taken = 0;
    };
    struct Case {
        std::vector<std::size_t> indices;
        WaitType type = WAIT_ANY;
        std::int32_t limit = -1;
        std::unique_ptr<Probe> last = std::make_unique<Probe>(true, false); ///< tells that the wait has begun
        std::atomic<bool> ended{false};
        Outcome outcome;
        std::thread thread;
    };

    void begin(Case& one) {
        one.type = pick(random, 0, 2) == 0 ? WAIT_ALL : WAIT_ANY;
        one.limit = someTimeout(random);
        std::vector<Waitable*> list;
        for (std::size_t i = pick(random, 0, objects.size()); i > 0; --i) {
            one.indices.push_back(pick(random, 0, objects.size() - 1));
            list.push_back(objects[one.indices.back()].event.get());
        }
        list.push_back(one.last.get());
        one.thread = std::thread([&one, list] {
            one.outcome = runWait(list, one.type, one.limit);
            one.ended = true;
        });
    }

    template <class F>
    void each(Fate fate, F act) {
        for (Object& object : objects)
            if (object.fate == fate)
                act(object.event);
    }

    void check(Case& one) {
        one.thread.join();
        progress();
        const auto fateAt = [&](std::size_t i) { return i < one.indices.size() ? objects[one.indices[i]].fate : LEFT; };
        if (one.outcome.result >= 0) {
            const auto index = static_cast<std::size_t>(one.outcome.result);
            require(one.type == WAIT_ANY && fateAt(index) == SIGNALLED, "a wait was released by nothing");
            ++objects[one.indices[index]].taken;
        } else if (one.outcome.result == -1) {
            require(one.limit >= 0, "a wait without limit timed out");
        } else {
            std::size_t index = 0;
            while (index <= one.indices.size() && one.outcome != destroyed(index))
                ++index;
            require(index <= one.indices.size(), "a wait failed in an unknown way");
            require(one.type == WAIT_ALL || fateAt(index) != SIGNALLED, "a living object was reported destroyed");
            for (std::size_t i = 0; one.type == WAIT_ALL && i < index; ++i)
                require(fateAt(i) == SIGNALLED, "a wait for all passed over an object");
        }
    }

    Random& random;
    std::vector<Object> objects;
    std::vector<Case> cases;
};

/// A lock as its own waitable: nobody may miss a release, and the last holder may destroy it.
void lockRound(Random& random) {
    auto lock = std::make_unique<Lock>();
    std::size_t users = pick(random, 2, 8);
    std::uint64_t sum = 0;
    const std::size_t count = pick(random, 1, 200);
    const std::size_t total = users * count;
    std::vector<std::thread> threads;
    for (std::size_t i = users; i > 0; --i)
        threads.emplace_back([&, patient = i % 2 == 0] {
            for (std::size_t k = 0; k < count; ++k) {
                if (patient)
                    lock->lock();
                else
                    while (!lock->tryLock())
                        Concurrency::waitForSingleObject(*lock, -1);
                ++sum;
                lock->unlock();
                progress();
            }
            bool last = false;
            Lock* const mine = lock.get();
            mine->lock();
            last = --users == 0;
            mine->unlock();
            if (last) {
                require(sum == total, "the lock let two in");
                lock.reset();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
}

struct Cancelled {
    Probe event{true, false};
    std::atomic<int> returned{0};

    static void* run(void* argument) {
        auto& self = *static_cast<Cancelled*>(argument);
        Concurrency::waitForSingleObject(self.event, -1);
        ++self.returned;
        return nullptr;
    }
};

/// A signal meets the cancellation of the thread that stands first: it is taken by that thread or by the next one.
void cancelRound(Random& random) {
    Cancelled shared;
    pthread_t threads[2];
    for (std::size_t i = 0; i < 2; ++i) {
        pthread_create(&threads[i], nullptr, &Cancelled::run, &shared);
        while (shared.event.getSubscriberCount() != i + 1)
            std::this_thread::yield();
    }
    std::thread signaller([&] { shared.event.signal(); });
    if (pick(random, 0, 1) == 0)
        std::this_thread::yield();
    pthread_cancel(threads[0]);
    void* result = nullptr;
    pthread_join(threads[0], &result);
    signaller.join();
    if (result != PTHREAD_CANCELED)
        shared.event.signal();
    pthread_join(threads[1], nullptr);
    progress();
    require(shared.returned == (result == PTHREAD_CANCELED ? 1 : 2), "a cancelled wait returned");
    require(shared.event.getSubscriberCount() == 0 && !shared.event.isSignaled(), "a cancelled wait left a trace");
}

} // namespace

void fail(const std::string& what) {
    std::fprintf(stderr, "FAILED: %s\n  round %s, seed %llu, after %llu moves\n", what.c_str(), roundName.load(),
                 static_cast<unsigned long long>(seed.load()), static_cast<unsigned long long>(moves.load()));
    std::abort();
}

void progress() { moves.fetch_add(1, std::memory_order_relaxed); }

Outcome runWait(const std::vector<Waitable*>& objects, WaitType type, std::int32_t timeoutMs) {
    try {
        return attempt(objects, type, timeoutMs);
    } catch (const NorqWaitObjectDestroyedException& e) {
        return {-2, e.getMessage()};
    }
}

Outcome destroyed(std::size_t index) {
    return {-2, u"Object [" + norq_std_internal::numberText(index) + u"] was destroyed!"};
}

} // namespace norqstd_stress

int main(int argc, char** argv) {
    using namespace norqstd_stress;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(argc > 1 ? std::atoi(argv[1]) : 10);
    const std::uint64_t firstSeed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : std::random_device{}();
    std::thread(watch).detach();
    if (MAY_DISTURB)
        std::thread(disturb).detach();
    struct Kind {
        const char* name;
        void (*run)(Random&);
        unsigned long long count = 0;
    };
    Kind kinds[] = {
        {"model", modelRound},
        {"drain", [](Random& random) { DrainRound(random()).run(); }},
        {"destroy", [](Random& random) { DestroyRound(random).run(); }},
        {"lock", lockRound},
        {"count", countRound},
        {"meet", meetRound},
        {"cancel", cancelRound},
    };
    for (seed = firstSeed; std::chrono::steady_clock::now() < end; ++seed) {
        Random random(seed);
        Kind& kind = kinds[seed % std::size(kinds)];
        roundName = kind.name;
        kind.run(random);
        ++kind.count;
    }
    std::printf("from seed %llu, schedules of each kind:", static_cast<unsigned long long>(firstSeed));
    for (const Kind& kind : kinds)
        std::printf(" %s %llu", kind.name, kind.count);
    std::printf("; %llu moves\n", static_cast<unsigned long long>(moves.load()));
    std::fflush(stdout);
    std::quick_exit(0); // idle threads of the model live on
}

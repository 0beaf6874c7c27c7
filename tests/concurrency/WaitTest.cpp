#include "support/NothingLeft.h"

#include "concurrency/AutoLock.h"
#include "concurrency/Concurrency.h"
#include "concurrency/Event.h"
#include "concurrency/Lock.h"
#include "concurrency/Semaphore.h"
#include "concurrency/Subscription.h"
#include "concurrency/TimeUtils.h"
#include "exception/NorqException.h"
#include "internal/LockPimpl.h"
#include "support/Limits.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <pthread.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace norq_std;
using norqstd_test::longLimitMillis;

namespace {

thread_local std::size_t allocations = 0;

class Probe : public Event {
public:
    using Event::Event;
    using Waitable::getSubscriberCount;

    void awaitSubscribers(std::size_t count) const {
        while (getSubscriberCount() != count)
            std::this_thread::yield();
    }
};

std::int32_t poll(Waitable& object) { return Concurrency::waitForSingleObject(object, 0); }

class WaitTest : public norqstd_test::NothingLeft {};

} // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++allocations;
    return std::malloc(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

TEST_F(WaitTest, SignalOfAutoResetIsUsedUpAndOfManualResetStays) {
    Event once(true, false);
    Event lasting(false, true);
    once.signal();
    once.signal();
    EXPECT_EQ(poll(once), 0);
    EXPECT_EQ(poll(once), -1);
    EXPECT_EQ(poll(lasting), 0);
    EXPECT_EQ(Concurrency::waitForSingleObject(lasting, -7), 0);
    lasting.reset();
    EXPECT_EQ(Concurrency::waitForSingleObject(lasting, 1), -1);
}

// Any: the lowest set object is reported and all set ones are used up. All: those that are set are used up, come what
// may.
TEST_F(WaitTest, EverySetOfSignalsGivesLowestIndexAndIsUsedUp) {
    for (const std::int32_t timeout : {0, 1})
        for (const WaitType type : {WAIT_ANY, WAIT_ALL})
            for (unsigned mask = 0; mask < 32; ++mask) {
                std::vector<std::unique_ptr<Event>> events;
                std::vector<Waitable*> objects;
                for (unsigned i = 0; i < 5; ++i) {
                    events.push_back(std::make_unique<Event>(i != 3, (mask >> i & 1) != 0));
                    objects.push_back(events.back().get());
                }
                objects.push_back(objects[0]);
                std::int32_t expected = mask == 0 ? -1 : __builtin_ctz(mask);
                if (type == WAIT_ALL)
                    expected = -1; // the first object stands there twice and has one signal
                EXPECT_EQ(Concurrency::waitForMultipleObjects(objects, type, timeout), expected) << mask;
                for (unsigned i = 0; i < 5; ++i)
                    EXPECT_EQ(events[i]->isSignaled(), i == 3 && (mask & 8) != 0) << mask << ' ' << i;
            }
}

// Three waits that list two events in either order, and every series of three signals: the waits end in their order of
// arrival, each with the index at which it listed the event.
TEST_F(WaitTest, WaitsEndInOrderOfArrival) {
    for (unsigned order = 0; order < 8; ++order)
        for (unsigned signals = 0; signals < 8; ++signals) {
            Probe events[2] = {Probe(true, false), Probe(true, false)};
            std::atomic<int> results[3] = {-2, -2, -2};
            std::vector<std::thread> threads;
            for (unsigned i = 0; i < 3; ++i) {
                const unsigned first = order >> i & 1;
                threads.emplace_back([&, i, first] {
                    results[i] =
                        Concurrency::waitForMultipleObjects({&events[first], &events[1 - first]}, WAIT_ANY, -1);
                });
                events[1 - first].awaitSubscribers(i + 1);
            }
            for (unsigned i = 0; i < 3; ++i) {
                events[signals >> i & 1].signal();
                threads[i].join();
                EXPECT_EQ(results[i], static_cast<int>((signals >> i & 1) ^ (order >> i & 1)));
                EXPECT_EQ(events[0].getSubscriberCount() + events[1].getSubscriberCount(), 2 * (2 - i));
            }
        }
}

TEST_F(WaitTest, EmptyVectorSleepsForAnyAndEndsAtOnceForAll) {
    const std::uint64_t start = TimeUtils::getCurrentTimeMs();
    EXPECT_EQ(Concurrency::waitForMultipleObjects({}, WAIT_ANY, 0), -1);
    EXPECT_EQ(Concurrency::waitForMultipleObjects({}, WAIT_ANY, 20), -1);
    EXPECT_GE(TimeUtils::getCurrentTimeMs(), start + 20);
    EXPECT_EQ(Concurrency::waitForMultipleObjects({}, static_cast<WaitType>(9), -1), 0);
}

TEST_F(WaitTest, NullIsRefusedBeforeAnythingIsUsedUp) {
    Event event(true, true);
    EXPECT_THROW(Concurrency::waitForMultipleObjects({&event, nullptr}, WAIT_ANY, 0), NorqIllegalArgumentException);
    EXPECT_TRUE(event.isSignaled());
}

TEST_F(WaitTest, SixteenObjectsNeedNoAllocation) {
    std::vector<std::unique_ptr<Event>> events;
    std::vector<Waitable*> objects;
    for (int i = 0; i < 16; ++i)
        objects.push_back(events.emplace_back(std::make_unique<Event>(true, false)).get());
    const std::size_t before = allocations;
    for (const WaitType type : {WAIT_ANY, WAIT_ALL})
        EXPECT_EQ(Concurrency::waitForMultipleObjects(objects, type, 1), -1);
    EXPECT_EQ(Concurrency::waitForSingleObject(*objects[0], 1), -1);
    EXPECT_EQ(allocations, before);
}

TEST_F(WaitTest, DestroyedObjectEndsWaitWithItsIndex) {
    for (const WaitType type : {WAIT_ANY, WAIT_ALL}) {
        Event set(true, type == WAIT_ALL);
        auto event = std::make_unique<Probe>(false, false);
        WString message;
        std::thread waiter([&] {
            try {
                Concurrency::waitForMultipleObjects({&set, event.get()}, type, longLimitMillis());
            } catch (const NorqWaitObjectDestroyedException& e) {
                message = e.getMessage();
            }
        });
        event->awaitSubscribers(1);
        event.reset();
        waiter.join();
        EXPECT_EQ(message, u"Object [1] was destroyed!");
    }
}

// Where the cancellation strikes a thread that sleeps, nothing of it may stay on the objects, and what it took for a
// wait for all goes back.
TEST_F(WaitTest, CancelledWaitLeavesNoTrace) {
    struct Shared {
        int type;
        Probe taken{true, true};
        Probe missing{true, false};
    };
    for (const int type : {PTHREAD_CANCEL_DEFERRED, PTHREAD_CANCEL_ASYNCHRONOUS}) {
        Shared shared{.type = type};
        pthread_t thread;
        const auto body = [](void* argument) -> void* {
            auto& own = *static_cast<Shared*>(argument);
            pthread_setcanceltype(own.type, nullptr);
            Concurrency::waitForMultipleObjects({&own.taken, &own.missing}, WAIT_ALL, -1);
            return nullptr;
        };
        ASSERT_EQ(pthread_create(&thread, nullptr, body, &shared), 0);
        shared.missing.awaitSubscribers(1);
        pthread_cancel(thread);
        void* result = nullptr;
        pthread_join(thread, &result);
        EXPECT_EQ(result, PTHREAD_CANCELED);
        EXPECT_EQ(shared.missing.getSubscriberCount(), 0U);
        EXPECT_TRUE(shared.taken.isSignaled());
    }
}

TEST_F(WaitTest, SubscriptionTakesSignalOrWaitsForIt) {
    const auto condition = std::make_shared<SubscriptionCondition>();
    Probe event(true, true);
    {
        Subscription first(condition, event);
        Subscription second(condition, event);
        EXPECT_EQ(first.toString(), u"Subscription{state=1}");
        const AutoLock<Subscription> guard(second);
        EXPECT_EQ(second.getState(), SUBSCRIBED);
        EXPECT_FALSE(second.wait(TimeSpec::getCurrentTime()));
        std::thread signaller([&] { event.signal(); });
        EXPECT_TRUE(second.wait(TimeSpec(-1, 0)));
        EXPECT_EQ(second.getState(), SIGNALED);
        signaller.join();
        event.signal();
    }
    EXPECT_EQ(event.getSubscriberCount(), 0U);
    EXPECT_TRUE(event.isSignaled());
}

TEST_F(WaitTest, ForkedChildHoldsTheLocksOfTheThreadThatForked) {
    Lock lock;
    lock.lock();
    const pid_t child = fork();
    if (child == 0) {
        const bool held = lock.tryLock();
        if (held)
            lock.unlock();
        try {
            lock.unlock();
        } catch (const NorqAccessException&) {
            _exit(1);
        }
        _exit(held && lock.tryLock() ? 0 : 2);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    lock.unlock();
}

TEST_F(WaitTest, LockIsRecursiveAndSignalsFullRelease) {
    Lock lock;
    const auto elsewhere = [](const std::function<void()>& body) { std::thread(body).join(); };
    EXPECT_THROW(lock.unlock(), NorqAccessException);
    lock.lock();
    EXPECT_TRUE(lock.tryLock());
    lock.unlock();
    elsewhere([&] {
        EXPECT_FALSE(lock.tryLock());
        EXPECT_THROW(lock.unlock(), NorqAccessException);
    });
    EXPECT_EQ(poll(lock), -1);
    lock.unlock();
    EXPECT_EQ(poll(lock), 0);
    EXPECT_EQ(poll(lock), -1);
    elsewhere([&] {
        EXPECT_TRUE(lock.tryLock());
        lock.unlock();
    });
    EXPECT_TRUE(lock.isSignaled());
}

TEST_F(WaitTest, MutexResultsBecomeExceptions) {
    const auto thrown = [](int result) {
        try {
            norq_std_internal::checkMutexResult(result);
        } catch (const NorqException& e) {
            EXPECT_EQ(e.getErrNum(), result);
            return e.getClassName() + u": " + e.getMessage();
        }
        return WString();
    };
    EXPECT_EQ(thrown(0) + thrown(EBUSY) + thrown(12345), u"");
    EXPECT_TRUE(thrown(EPERM).ends_with(u"NorqAccessException: The current thread does not own the lock."));
    EXPECT_TRUE(
        thrown(EAGAIN).ends_with(u"NorqOutOfResourcesException: The recursion limit for this lock has been exceeded."));
    EXPECT_TRUE(thrown(EINVAL).find(u"NorqIllegalStateException: Lock was in an invalid state") != WString::npos);
    EXPECT_TRUE(thrown(EDEADLK).ends_with(u"NorqDeadlockException: Locking this mutex would cause a deadlock."));
}

TEST_F(WaitTest, SemaphoreKeepsCounterAndSignalApart) {
    Semaphore semaphore(3);
    EXPECT_EQ(poll(semaphore), 0);
    EXPECT_EQ(poll(semaphore), -1);
    EXPECT_EQ(semaphore.getValue(), 3);
    semaphore--;
    EXPECT_TRUE(semaphore.tryDecrement());
    semaphore.increment();
    EXPECT_EQ(semaphore.toString(), u"Semaphore{value=2}");
    EXPECT_EQ(poll(semaphore), 0);
    Semaphore negative(-5);
    EXPECT_FALSE(negative.isSignaled());
    EXPECT_FALSE(negative.tryDecrement());
    Semaphore full(2'147'483'647);
    EXPECT_THROW(full.increment(), NorqUnknownException);
    full++;
    EXPECT_EQ(poll(full), 0); // from its construction
    std::thread waiter([&] { negative.decrement(); });
    negative.increment();
    waiter.join();
    EXPECT_EQ(negative.getValue(), 0);
}

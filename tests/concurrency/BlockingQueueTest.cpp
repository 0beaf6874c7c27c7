#include "concurrency/StdDequeBlockingQueue.h"

#include "support/Actor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <thread>
#include <vector>

using namespace norq_std;
using namespace norqstd_test;

namespace {

using Element = std::shared_ptr<WString>;
using Queue = StdDequeBlockingQueue<Element, Element>;
using NumberQueue = StdDequeBlockingQueue<int, std::optional<int>>;

Element make(const WString& text) { return std::make_shared<WString>(text); }

/// Looks at the waiters of any object.
struct Waiters : Waitable {
    static std::size_t of(Waitable& object) { return (object.*&Waiters::getSubscriberCount)(); }
};

/// Sees how many threads wait on the events of the queue.
class WatchedQueue : public NumberQueue {
public:
    using NumberQueue::NumberQueue;

    bool hasRoomSignal() const { return notFull.isSignaled(); }
    void takeRoomSignal() { notFull.reset(); }
    std::size_t consumers() { return Waiters::of(notEmpty); }
};

/// Runs out of memory once, when it is told to.
class FailingQueue : public NumberQueue {
public:
    using NumberQueue::NumberQueue;

    std::atomic<int> attempts{0};
    std::atomic<bool> fails{false};

protected:
    bool internalOffer(const int& element) override {
        ++attempts;
        if (fails.exchange(false))
            throw std::bad_alloc();
        return NumberQueue::internalOffer(element);
    }
    using NumberQueue::internalOffer;
};

TEST(BlockingQueue, RefusesACapacityBelowOne) {
    try {
        Queue queue(0);
        FAIL();
    } catch (const NorqIllegalArgumentException& e) {
        EXPECT_EQ(e.getMessage(), u"Maximum queue capacity. value 0 is below minimum of 1.");
    }
}

TEST(BlockingQueue, DescribesItself) {
    Queue queue(7);
    queue.offer(make(u"x"));
    EXPECT_EQ(queue.toString(), u"StdDequeBlockingQueue{AbstractBlockingQueue{capacity=7},blockingQueueSize=1}");
    EXPECT_EQ(queue.getClassName(), u"norq_std.StdDequeBlockingQueue");
    EXPECT_EQ(queue.getRemainingCapacity(), 6);
}

TEST(BlockingQueue, NullThrowsBeforeAnythingElse) {
    Queue queue(1);
    const auto refuses = [&] {
        const std::vector<std::function<void()>> calls{[&] { queue.offer(nullptr); }, [&] { queue.offer(nullptr, 0); },
                                                       [&] { queue.offer(nullptr, -1); }};
        for (const auto& call : calls)
            EXPECT_THROW(call(), NorqIllegalArgumentException);
    };
    refuses();
    queue.offer(make(u"full"));
    refuses();
    EXPECT_THROW(queue.remove(nullptr), NorqIllegalArgumentException);
    queue.shutdown();
    refuses();
}

TEST(BlockingQueue, RemovesByIdentityAndReleasesNobody) {
    WatchedQueue numbers(2);
    numbers.offer(1);
    numbers.takeRoomSignal();
    EXPECT_TRUE(numbers.remove(1));
    EXPECT_FALSE(numbers.hasRoomSignal());
    EXPECT_FALSE(numbers.remove(1));

    Queue queue(3);
    const Element first = make(u"same"), second = make(u"same");
    queue.offer(first);
    queue.offer(second);
    EXPECT_FALSE(queue.remove(make(u"same")));
    EXPECT_TRUE(queue.remove(second));
    EXPECT_EQ(queue.peek(), first);
    EXPECT_EQ(queue.size(), 1);
}

TEST(BlockingQueue, ClearSignalsRoomEvenWhenEmpty) {
    WatchedQueue queue(2);
    queue.clear();
    EXPECT_TRUE(queue.hasRoomSignal());
}

TEST(BlockingQueue, ZeroTimeOutDoesNotWait) {
    NumberQueue queue(1);
    EXPECT_EQ(queue.poll(0), std::nullopt);
    EXPECT_TRUE(queue.offer(1, 0));
    EXPECT_FALSE(queue.offer(2, 0));
    EXPECT_FALSE(queue.offer(2, 1));
    EXPECT_EQ(queue.poll(0), 1);
    EXPECT_EQ(queue.poll(1), std::nullopt);
}

TEST(BlockingQueue, WaitersAreReleasedByRoomAndByElements) {
    NumberQueue queue(1);
    Actor consumer, producer;
    std::optional<int> taken;
    const auto polling = consumer.begin([&] { taken = queue.poll(-1); });
    EXPECT_TRUE(queue.offer(1, longLimitMillis()));
    ASSERT_TRUE(becomesReady(polling));
    EXPECT_EQ(taken, 1);
    queue.offer(2);
    const auto offering = producer.begin([&] { EXPECT_TRUE(queue.offer(3, -1)); });
    EXPECT_EQ(queue.poll(), 2);
    ASSERT_TRUE(becomesReady(offering));
    EXPECT_EQ(queue.poll(longLimitMillis()), 3);
}

TEST(BlockingQueue, FailedAttemptLeavesTheRoomToTheNextWaiter) {
    FailingQueue queue(1);
    queue.offer(1);
    Actor producers[2];
    std::future<void> offers[2];
    for (int i = 0; i < 2; ++i)
        offers[i] = producers[i].begin([&] { EXPECT_TRUE(queue.offer(2, -1)); });
    ASSERT_TRUE(eventually([&] { return queue.attempts == 5; })); // each has tried twice and waits
    queue.fails = true;
    EXPECT_EQ(queue.poll(), 1);
    EXPECT_TRUE(becomesReady(offers[0]) && becomesReady(offers[1]));
    EXPECT_EQ(queue.poll(), 2);
    queue.shutdown();
    int failures = 0;
    for (std::future<void>& offer : offers)
        try {
            offer.get();
        } catch (const std::bad_alloc&) {
            ++failures;
        }
    EXPECT_EQ(failures, 1);
}

TEST(BlockingQueue, ExtraObjectEndsAWaitAndLeavesTheQueueAsItWas) {
    NumberQueue queue(1);
    Event stop(false, false);
    Actor consumer, producer;
    const auto polling = consumer.begin([&] { EXPECT_EQ(queue.poll(-1, stop), std::nullopt); });
    stop.signal();
    ASSERT_TRUE(becomesReady(polling));
    stop.reset();
    queue.offer(1);
    const auto offering = producer.begin([&] { EXPECT_FALSE(queue.offer(2, -1, stop)); });
    stop.signal();
    ASSERT_TRUE(becomesReady(offering));
    EXPECT_EQ(queue.poll(-1, stop), 1); // what succeeds at once does not look at it
    EXPECT_EQ(queue.size(), 0);
}

TEST(BlockingQueue, ShutdownEndsEveryWaitAndTakesPrecedence) {
    for (std::size_t round = 0; round < rounds(300); ++round) {
        NumberQueue empty(1), full(1);
        full.offer(1);
        Event extra(false, true);
        std::atomic<int> released{0};
        {
            std::vector<std::jthread> threads;
            const auto expectShutdown = [&](auto call) {
                threads.emplace_back([&released, call] {
                    try {
                        call();
                    } catch (const NorqIllegalStateException& e) {
                        released += e.getMessage() == u"AbstractBlockingQueue has shutdown." ? 1 : 0;
                    }
                });
            };
            for (int i = 0; i < 2; ++i) {
                expectShutdown([&] { empty.poll(-1); });
                expectShutdown([&] { empty.poll(longLimitMillis()); });
                expectShutdown([&] { full.offer(2, -1); });
            }
            empty.shutdown();
            full.shutdown();
        }
        EXPECT_EQ(released, 6);
        EXPECT_TRUE(full.isShutdown());
        EXPECT_EQ(full.size(), 0);
        EXPECT_EQ(full.peek(), std::nullopt);
        EXPECT_THROW(full.poll(), NorqIllegalStateException);
        EXPECT_THROW(full.poll(0, extra), NorqIllegalStateException);
        EXPECT_THROW(full.offer(1), NorqIllegalStateException);
        EXPECT_THROW(full.remove(1), NorqIllegalStateException);
    }
}

TEST(BlockingQueue, DestructionEndsAWait) {
    auto queue = std::make_unique<WatchedQueue>(1);
    Actor consumer;
    const auto polling =
        consumer.begin([pointer = queue.get()] { EXPECT_THROW(pointer->poll(-1), NorqWaitObjectDestroyedException); });
    ASSERT_TRUE(eventually([&] { return queue->consumers() == 1; }));
    queue.reset();
    EXPECT_TRUE(becomesReady(polling));
}

TEST(BlockingQueue, AgreesWithAModel) {
    std::mt19937 random(11);
    for (const int capacity : {1, 2, 5}) {
        NumberQueue queue(capacity);
        std::deque<int> model;
        const auto full = [&] { return model.size() == static_cast<std::size_t>(capacity); };
        for (int step = 0; step < 5000; ++step) {
            switch (random() % 6) {
            case 0:
            case 1: {
                const bool fits = !full();
                ASSERT_EQ(random() % 2 == 0 ? queue.offer(step) : queue.offer(step, 0), fits);
                if (fits)
                    model.push_back(step);
                break;
            }
            case 2:
            case 3: {
                const std::optional<int> front = model.empty() ? std::nullopt : std::optional<int>(model.front());
                ASSERT_EQ(queue.peek(), front);
                ASSERT_EQ(random() % 2 == 0 ? queue.poll() : queue.poll(0), front);
                if (front)
                    model.pop_front();
                break;
            }
            case 4: {
                const int value = step - static_cast<int>(random() % 4);
                ASSERT_EQ(queue.remove(value), std::erase(model, value) == 1);
                break;
            }
            default:
                if (random() % 8 == 0)
                    queue.clear(), model.clear();
            }
            ASSERT_EQ(queue.size(), static_cast<std::int32_t>(model.size()));
            ASSERT_EQ(queue.getRemainingCapacity(), capacity - queue.size());
        }
    }
}

struct Load {
    int capacity, producers, consumers;
};

/// Every element comes out once and in its producer's order, by every road, and nobody is left asleep beside one.
TEST(BlockingQueue, LosesNothingUnderLoad) {
    for (const Load& load : {Load{1, 1, 1}, Load{1, 4, 4}, Load{3, 2, 5}, Load{3, 5, 2}, Load{64, 4, 4}}) {
        const int perProducer = static_cast<int>(rounds(6000)) * load.consumers;
        const int perConsumer = perProducer / load.consumers * load.producers;
        NumberQueue queue(load.capacity);
        std::vector<std::vector<int>> taken(static_cast<std::size_t>(load.consumers));
        {
            std::vector<std::jthread> threads;
            for (int p = 0; p < load.producers; ++p)
                threads.emplace_back([&queue, p, perProducer] {
                    std::mt19937 random(static_cast<unsigned>(p));
                    for (int i = 0; i < perProducer; ++i)
                        while (!(random() % 4 == 0 ? queue.offer(p * perProducer + i, 1)
                                                   : queue.offer(p * perProducer + i, -1)))
                            continue;
                });
            for (std::vector<int>& own : taken)
                threads.emplace_back([&queue, &own, perConsumer] {
                    std::mt19937 random(static_cast<unsigned>(perConsumer));
                    while (own.size() < static_cast<std::size_t>(perConsumer))
                        if (const std::optional<int> element = random() % 4 == 0 ? queue.poll(1) : queue.poll(-1))
                            own.push_back(*element);
                });
        }
        std::vector<int> seen(static_cast<std::size_t>(load.producers * perProducer));
        for (const std::vector<int>& own : taken) {
            std::vector<int> last(static_cast<std::size_t>(load.producers), -1);
            for (const int element : own) {
                ++seen[static_cast<std::size_t>(element)];
                int& before = last[static_cast<std::size_t>(element / perProducer)];
                ASSERT_LT(before, element);
                before = element;
            }
        }
        EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), static_cast<std::ptrdiff_t>(seen.size()));
        EXPECT_EQ(queue.size(), 0);
    }
}

} // namespace

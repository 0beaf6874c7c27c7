#include "concurrency/ReadWriteLock.h"

#include "exception/NorqException.h"
#include "internal/ReadWriteLockPimpl.h"
#include "support/Actor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <memory>
#include <optional>
#include <random>
#include <thread>
#include <vector>

using namespace norq_std;
using namespace norqstd_test;
using norq_std_internal::ReadWriteLockPimpl;

namespace {

template <class Exception, class Step>
WString messageOf(const Step& step) {
    try {
        step();
    } catch (const Exception& e) {
        return e.getMessage();
    }
    return u"nothing was thrown";
}

TEST(ReadWriteLock, RefusesFewerThanOneReader) {
    for (const int readers : {0, -1})
        EXPECT_EQ(messageOf<NorqIllegalArgumentException>([&] { ReadWriteLock lock(readers); }),
                  u"Maximum number of simultaneous readers must not be less than one.");
    EXPECT_EQ(ReadWriteLock(ReadWriteLock::DefaultReaderCount).toString(), u"ReadWriteLock{maxReaders='32'}");
}

TEST(ReadWriteLock, ReaderWaitsWhileAllPermitsAreTaken) {
    ReadWriteLockPimpl lock(2);
    Actor first, second, third;
    first.act([&] { lock.readLock(), lock.readLock(); });
    second.act([&] { lock.readLock(); });
    EXPECT_EQ(lock.freePermits(), 0U); // recursion took one permit alone
    const auto waiting = third.begin([&] { lock.readLock(); });
    ASSERT_TRUE(eventually([&] { return lock.isEntryClosed(); }));
    first.act([&] { lock.readUnlock(); });
    EXPECT_FALSE(isReady(waiting));
    first.act([&] { lock.readUnlock(); });
    ASSERT_TRUE(becomesReady(waiting));
    second.act([&] { lock.readUnlock(); });
    third.act([&] { lock.readUnlock(); });
    EXPECT_EQ(lock.freePermits(), 2U);
}

TEST(ReadWriteLock, UnlockByAStrangerThrowsAndChangesNothing) {
    ReadWriteLockPimpl lock(4);
    Actor reader, writer;
    reader.act([&] { lock.readLock(); });
    EXPECT_EQ(messageOf<NorqAccessException>([&] { lock.readUnlock(); }),
              u"readUnlock failed: The current thread does not own the lock.");
    EXPECT_EQ(messageOf<NorqAccessException>([&] { lock.writeUnlock(); }),
              u"writeUnlock failed: The current thread does not own the lock.");
    const auto writing = writer.begin([&] { lock.writeLock(); });
    ASSERT_TRUE(eventually([&] { return lock.isEntryClosed(); }));
    EXPECT_FALSE(isReady(writing));
    reader.act([&] { lock.readUnlock(); });
    ASSERT_TRUE(becomesReady(writing));
    writer.act([&] { lock.writeUnlock(); });
    EXPECT_THROW(reader.act([&] { lock.readUnlock(); }), NorqAccessException);
}

TEST(ReadWriteLock, WaitingWriterHoldsOffNewReadersButNotNestedOnes) {
    ReadWriteLockPimpl lock(3);
    Actor reader, writer, late;
    reader.act([&] { lock.readLock(); });
    const auto writing = writer.begin([&] { lock.writeLock(); });
    ASSERT_TRUE(eventually([&] { return lock.isEntryClosed(); }));
    const auto reading = late.begin([&] { lock.readLock(); });
    reader.act([&] { lock.readLock(), lock.readUnlock(); });
    EXPECT_FALSE(isReady(writing));
    EXPECT_FALSE(isReady(reading));
    reader.act([&] { lock.readUnlock(); });
    ASSERT_TRUE(becomesReady(writing));
    EXPECT_FALSE(isReady(reading));
    writer.act([&] { lock.writeUnlock(); });
    ASSERT_TRUE(becomesReady(reading));
    late.act([&] { lock.readUnlock(); });
    EXPECT_EQ(lock.freePermits(), 3U);
}

TEST(ReadWriteLock, WriterRecursesAndGoesOnAsReader) {
    ReadWriteLockPimpl lock(2);
    Actor other;
    lock.writeLock();
    lock.writeLock();
    lock.readLock();
    lock.readLock();
    lock.writeUnlock();
    const auto reading = other.begin([&] { lock.readLock(); });
    ASSERT_TRUE(eventually([&] { return lock.isEntryClosed(); }));
    lock.writeUnlock();
    ASSERT_TRUE(becomesReady(reading));
    EXPECT_EQ(lock.freePermits(), 0U);
    other.act([&] { lock.readUnlock(); });
    lock.readUnlock();
    EXPECT_EQ(lock.freePermits(), 1U);
    lock.readUnlock();
    EXPECT_EQ(lock.freePermits(), 2U);
    lock.writeLock();
    lock.readLock();
    lock.readUnlock(); // by the writer, gives no permit back
    EXPECT_EQ(lock.freePermits(), 0U);
    lock.writeUnlock();
    EXPECT_EQ(lock.freePermits(), 2U);
}

TEST(ReadWriteLock, UpgradeKeepsTheReadCount) {
    ReadWriteLockPimpl lock(4);
    lock.readLock();
    lock.readLock();
    lock.writeLock();
    EXPECT_EQ(lock.freePermits(), 0U);
    lock.writeUnlock();
    EXPECT_EQ(lock.freePermits(), 3U);
    lock.readUnlock();
    lock.readUnlock();
    EXPECT_EQ(lock.freePermits(), 4U);
    EXPECT_THROW(lock.readUnlock(), NorqAccessException);
}

TEST(ReadWriteLock, TwoReadersUpgradeOneAfterTheOther) {
    ReadWriteLockPimpl lock(2);
    std::array<Actor, 2> actors;
    std::vector<int> order;
    for (Actor& actor : actors)
        actor.act([&] { lock.readLock(); });
    const auto first = actors[0].begin([&] { lock.writeLock(), order.push_back(0); });
    ASSERT_TRUE(eventually([&] { return lock.isEntryClosed(); }));
    // Its upgrade gives up its permit, which the first one waits for.
    const auto second = actors[1].begin([&] { lock.writeLock(), order.push_back(1), lock.writeUnlock(); });
    ASSERT_TRUE(becomesReady(first));
    EXPECT_FALSE(isReady(second));
    actors[0].act([&] { lock.writeUnlock(), lock.readUnlock(); });
    ASSERT_TRUE(becomesReady(second));
    actors[1].act([&] { lock.readUnlock(); });
    EXPECT_EQ(order, (std::vector<int>{0, 1}));
    EXPECT_EQ(lock.freePermits(), 2U);
}

TEST(ReadWriteLock, OneThreadHoldsManyLocks) {
    std::deque<ReadWriteLockPimpl> locks;
    for (int i = 0; i < 100; ++i)
        locks.emplace_back(1);
    std::vector<std::size_t> order(locks.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::mt19937 random(7);
    std::thread([&] {
        for (int round = 0; round < 20; ++round) {
            std::shuffle(order.begin(), order.end(), random);
            for (const std::size_t i : order)
                locks[i].readLock(), locks[i].readLock();
            std::shuffle(order.begin(), order.end(), random);
            for (const std::size_t i : order)
                locks[i].readUnlock(), locks[i].readUnlock();
        }
    }).join();
    EXPECT_TRUE(std::all_of(locks.begin(), locks.end(), [](const auto& lock) { return lock.freePermits() == 1; }));
    EXPECT_THROW(locks[0].readUnlock(), NorqAccessException);
}

TEST(ReadWriteLock, NewLockAtTheSameAddressIsNotMistakenForTheOld) {
    std::optional<ReadWriteLockPimpl> lock;
    lock.emplace(2);
    lock->readLock();
    lock.emplace(2);
    EXPECT_THROW(lock->readUnlock(), NorqAccessException);
    lock->readLock();
    EXPECT_EQ(lock->freePermits(), 1U);
    lock->readUnlock();
}

TEST(ReadWriteLock, ServesDestructorsOfThreadLocalObjects) {
    static ReadWriteLockPimpl& lock = *new ReadWriteLockPimpl(1);
    static std::deque<ReadWriteLockPimpl>& many = *new std::deque<ReadWriteLockPimpl>;
    while (many.size() < 20)
        many.emplace_back(1);
    struct Late {
        ~Late() {
            for (ReadWriteLockPimpl& each : many)
                each.readLock();
            for (ReadWriteLockPimpl& each : many)
                each.readUnlock();
            lock.writeLock();
            lock.writeUnlock();
        }
    };
    std::thread([] {
        static thread_local const Late late;
        static_cast<void>(&late);
        for (ReadWriteLockPimpl& each : many)
            each.writeLock(), each.readLock(), each.readUnlock(), each.writeUnlock();
    }).join();
    EXPECT_EQ(lock.freePermits(), 1U);
    EXPECT_EQ(many.back().freePermits(), 1U);
}

TEST(ReadWriteLock, NextOwnerMayDestroyTheLock) {
    for (std::size_t round = 0; round < rounds(2000); ++round) {
        auto lock = std::make_unique<ReadWriteLockPimpl>(2);
        lock->readLock();
        std::thread next([&] {
            lock->writeLock();
            lock->writeUnlock();
            lock.reset();
        });
        lock->readUnlock();
        next.join();
    }
}

/// Random walks of several threads; each knows what it holds, and the shared counts tell what must never be.
TEST(ReadWriteLock, NeverLetsAWriterMeetAnybody) {
    constexpr int MaxReaders = 3;
    ReadWriteLockPimpl lock(MaxReaders);
    std::atomic<int> readersInside{0}, writersInside{0};
    std::uint64_t written = 0; // guarded by the lock alone
    std::atomic<std::uint64_t> writes{0};
    std::atomic<bool> failed{false};

    const auto walk = [&](unsigned seed) {
        std::mt19937 random(seed);
        int reads = 0, nestedWrites = 0;
        const auto check = [&](bool held) {
            if (!held)
                failed = true;
        };
        const auto unread = [&] {
            if (reads == 1 && nestedWrites == 0)
                --readersInside;
            --reads;
            lock.readUnlock();
        };
        const auto unwrite = [&] {
            if (--nestedWrites == 0) {
                --writersInside;
                if (reads > 0)
                    ++readersInside;
            }
            lock.writeUnlock();
        };
        for (std::size_t step = 0; step < rounds(60000); ++step) {
            switch (random() % 5) {
            case 0:
            case 1:
                lock.readLock();
                if (++reads == 1 && nestedWrites == 0)
                    check(++readersInside <= MaxReaders);
                check(writersInside == (nestedWrites > 0 ? 1 : 0));
                break;
            case 2:
                if (reads > 0)
                    unread();
                break;
            case 3:
                if (reads > 0 && nestedWrites == 0)
                    --readersInside; // the upgrade gives it up
                lock.writeLock();
                if (++nestedWrites == 1)
                    check(++writersInside == 1 && readersInside == 0);
                ++written;
                ++writes;
                break;
            default:
                while (nestedWrites > 0)
                    unwrite();
            }
            while (reads > 4)
                unread();
        }
        while (nestedWrites > 0)
            unwrite();
        while (reads > 0)
            unread();
    };
    {
        std::vector<std::jthread> threads;
        for (unsigned seed = 1; seed <= 6; ++seed)
            threads.emplace_back(walk, seed);
    }
    EXPECT_FALSE(failed);
    EXPECT_EQ(written, writes);
    EXPECT_EQ(lock.freePermits(), static_cast<std::uint32_t>(MaxReaders));
}

} // namespace

// Not under the thread sanitizer: it puts signals off until the thread calls into it, and cancelling rests on a signal
// that strikes where the body stands.
#if !defined(__SANITIZE_THREAD__)

#include "thread/Thread.h"

#include "concurrency/AutoLock.h"
#include "concurrency/Concurrency.h"
#include "concurrency/Event.h"
#include "concurrency/Lock.h"
#include "concurrency/ReadWriteLock.h"
#include "concurrency/StdDequeBlockingQueue.h"
#include "internal/ReadWriteLockPimpl.h"
#include "support/Actor.h"
#include "support/NothingLeft.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

using namespace norq_std;
using namespace norqstd_test;

namespace {

/// What a cancelled body and its test share; the last one out frees it.
struct Shared {
    std::atomic<bool> inside{false}, unwound{false}, leave{false};
    std::atomic<std::uint64_t> counter{0};
    Lock lock;
    ReadWriteLock readWriteLock{2};
    norq_std_internal::ReadWriteLockPimpl taken{2}; ///< by the test
    Event never{true, false};
    StdDequeBlockingQueue<int, std::optional<int>> queue{1};
};

struct SetsFlag {
    ~SetsFlag() { flag = true; }
    std::atomic<bool>& flag;
};

class Body : public Runnable {
public:
    Body(std::shared_ptr<Shared> state, void (*function)(Shared&))
        : shared(std::move(state))
        , body(function) {}

    void run() override {
        const std::shared_ptr<Shared> kept = shared;
        const SetsFlag unwound{kept->unwound};
        const AutoLock<Lock> guard(kept->lock);
        kept->readWriteLock.readLock();
        const struct Reading {
            ~Reading() { lock.readUnlock(); }
            ReadWriteLock& lock;
        } reading{kept->readWriteLock};
        kept->inside = true;
        body(*kept);
    }

private:
    std::shared_ptr<Shared> shared;
    void (*body)(Shared&);
};

void spin(Shared& shared) {
    for (;;)
        shared.counter.fetch_add(1, std::memory_order_relaxed);
}
void sleepLong(Shared&) {
    for (;;)
        Thread::sleep(1'000'000);
}
void readPipe(Shared&) {
    int ends[2];
    char byte = 0;
    if (pipe(ends) == 0) {
        const struct Closer {
            ~Closer() { close(ends[0]), close(ends[1]); }
            int (&ends)[2];
        } closer{ends};
        static_cast<void>(read(ends[0], &byte, 1));
    }
}
void waitOnEvent(Shared& shared) { Concurrency::waitForSingleObject(shared.never, -1); }
void waitOnBoth(Shared& shared) {
    Event other(false, false);
    Concurrency::waitForMultipleObjects({&shared.never, &other}, WAIT_ALL, -1);
}
void poll(Shared& shared) { shared.queue.poll(-1); }
void useLibraryLocks(Shared& shared) {
    for (;;) {
        const AutoLock<Lock> guard(shared.lock);
        shared.queue.offer(1);
        shared.queue.poll();
        shared.counter.fetch_add(1, std::memory_order_relaxed);
    }
}
void useHeap(Shared& shared) {
#if defined(__SANITIZE_ADDRESS__)
    // A block whose address nobody has noted yet when the thread is cancelled is lost.
    const __lsan::ScopedDisabler lostAllocations;
#endif
    for (;;) {
        const std::vector<std::string> texts(10, std::string(100, 'x'));
        shared.counter.fetch_add(texts.size(), std::memory_order_relaxed);
    }
}

class CancellationTest : public NothingLeft {};

TEST_F(CancellationTest, TakesTheStackDownWhereverTheBodyStands) {
    using Function = void (*)(Shared&);
    const std::pair<const char*, Function> bodies[] = {{"spin", spin},
                                                       {"sleep", sleepLong},
                                                       {"read", readPipe},
                                                       {"event", waitOnEvent},
                                                       {"all events", waitOnBoth},
                                                       {"queue", poll},
                                                       {"locks", useLibraryLocks},
                                                       {"heap", useHeap}};
    for (const auto& [name, body] : bodies)
        for (std::size_t round = 0; round < rounds(10); ++round) {
            SCOPED_TRACE(name);
            const auto shared = std::make_shared<Shared>();
            Thread thread(std::make_shared<Body>(shared, body), u"victim");
            thread.start();
            ASSERT_TRUE(eventually([&] { return shared->inside.load(); }));
            thread.cancel();
            EXPECT_EQ(thread.getState(), THREAD_ENDED);
            EXPECT_TRUE(thread.join(0));
            ASSERT_TRUE(eventually([&] { return shared->unwound.load(); }));
            // The guards have let go, and no subscription of the dead thread is left on the event.
            EXPECT_TRUE(shared->lock.tryLock());
            shared->lock.unlock();
            shared->readWriteLock.writeLock();
            shared->readWriteLock.writeUnlock();
            shared->never.signal();
            EXPECT_EQ(Concurrency::waitForSingleObject(shared->never, 0), 0);
        }
}

/// A destructor, which is noexcept, that waits: nothing may unwind through it.
struct WaitsInDestructor {
    ~WaitsInDestructor() {
        shared.counter = 1;
        while (!shared.leave)
            Concurrency::waitForSingleObject(shared.never, 1);
    }
    Shared& shared;
};

TEST_F(CancellationTest, WaitsForTheEndOfANoexceptFunction) {
    const auto shared = std::make_shared<Shared>();
    Thread thread(std::make_shared<Body>(shared,
                                         [](Shared& state) {
                                             { const WaitsInDestructor waiting{state}; }
                                             spin(state);
                                         }),
                  u"noexcept");
    thread.start();
    ASSERT_TRUE(eventually([&] { return shared->counter == 1; }));
    thread.cancel();
    EXPECT_TRUE(thread.join(0));
    EXPECT_FALSE(shared->unwound);
    shared->leave = true;
    EXPECT_TRUE(eventually([&] { return shared->unwound.load(); }));
}

TEST_F(CancellationTest, LeavesAReadWriteLockThatIsWaitedForInOrder) {
    const struct {
        const char* name;
        void (*body)(Shared&);
        bool takenForWriting;
        bool endsAtOnce;
    } rows[] = {
        {"read", [](Shared& state) { state.taken.readLock(); }, true, true},
        {"write", [](Shared& state) { state.taken.writeLock(); }, false, true},
        {"upgrade",
         [](Shared& state) {
             state.taken.readLock();
             const struct Holding {
                 ~Holding() {
                     lock.writeUnlock(); // the body is taken down behind the wait, not inside of it
                     lock.readUnlock();
                 }
                 norq_std_internal::ReadWriteLockPimpl& lock;
             } holding{state.taken};
             state.taken.writeLock();
             sleepLong(state);
         },
         false, false},
    };
    for (const auto& row : rows)
        for (std::size_t round = 0; round < rounds(10); ++round) {
            SCOPED_TRACE(row.name);
            const auto shared = std::make_shared<Shared>();
            row.takenForWriting ? shared->taken.writeLock() : shared->taken.readLock();
            Thread thread(std::make_shared<Body>(shared, row.body), u"victim");
            thread.start();
            ASSERT_TRUE(eventually([&] { return shared->taken.isEntryClosed(); }));
            thread.cancel();
            if (row.endsAtOnce) {
                ASSERT_TRUE(eventually([&] { return shared->unwound.load(); }));
            }
            row.takenForWriting ? shared->taken.writeUnlock() : shared->taken.readUnlock();
            ASSERT_TRUE(eventually([&] { return shared->unwound.load(); }));
            EXPECT_FALSE(shared->taken.isEntryClosed());
            EXPECT_EQ(shared->taken.freePermits(), 2U);
        }
}

TEST_F(CancellationTest, MayComeBeforeTheBodyAndBeforeTheNextStart) {
    for (std::size_t round = 0; round < rounds(200); ++round) {
        const auto first = std::make_shared<Shared>();
        Thread thread(std::make_shared<Body>(first, spin), u"early");
        thread.start();
        thread.cancel();
        EXPECT_EQ(thread.getId(), 0xFFFFFFFFU);
        thread.start(); // the cancelled body must not end this one
        EXPECT_EQ(thread.waitForStart(longLimitMillis()), 0);
        EXPECT_EQ(thread.getState(), THREAD_RUNNING);
        EXPECT_FALSE(thread.join(0));
        thread.cancel();
        EXPECT_TRUE(thread.join(0));
    }
}

} // namespace

#endif

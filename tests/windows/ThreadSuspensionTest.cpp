#include "platform/ThreadSuspension.h"

#include "base/LogMacros.h"
#include "internal/LogRoad.h"
#include "support/Actor.h"
#include "support/DebugCapture.h"
#include "support/NothingLeft.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

#include <unistd.h>

using namespace norqstd_test;
using norq_std_internal::platform::SuspendTarget;
using norq_std_internal::platform::SuspensionRelief;

namespace {

class ThreadSuspensionTest : public NothingLeft {
protected:
    /// Calls `step` again and again on a thread that can be stopped.
    void begin(std::function<void()> step) {
        thread = std::thread([this, step = std::move(step)] {
            target->attach([] {});
            while (!ending) {
                step();
                if (steps.fetch_add(1) % 1024 == 0)
                    pace.lock(), pace.unlock(); // the thread sanitizer delivers signals in such calls alone
            }
            target->detach();
        });
        ASSERT_TRUE(eventually([&] { return steps > 0; }));
    }
    void finish() {
        ending = true;
        target->resume();
        if (thread.joinable())
            thread.join();
        target = std::make_shared<SuspendTarget>();
        ending = false;
        steps = 0;
    }
    void TearDown() override {
        finish();
        NothingLeft::TearDown();
    }
    bool suspend() { return target->suspend(probe); }
    bool goesOn() {
        const std::uint64_t before = steps;
        return eventually([&] { return steps > before; });
    }

    const std::function<void()> probe = [] { norq_std_internal::LogRoad::whileHeld([] {}); };
    std::shared_ptr<SuspendTarget> target = std::make_shared<SuspendTarget>();
    std::mutex pace;
    std::thread thread;
    std::atomic<bool> ending{false};
    std::atomic<std::uint64_t> steps{0};
};

TEST_F(ThreadSuspensionTest, AWorkerThatAllocatesAndLogsNeverHoldsUpTheController) {
    const DebugCapture log; // has a lock of its own, which every line takes
    std::size_t round = 0;
    begin([&] {
        const std::string text(1000 + (steps % 7) * 5000, 'x');
        NORQ_LOG(norq_std::DEBUG, u"worker", u"%d bytes", static_cast<int>(text.size()));
    });
    for (; round < rounds(1000); ++round) {
        ASSERT_TRUE(suspend());
        const std::uint64_t stood = steps;
        NORQ_LOG(norq_std::DEBUG, u"controller", u"paused %d", static_cast<int>(round));
        const std::string allocated(round * 100, 'y');
        ASSERT_EQ(stood, steps) << "it goes on";
        target->resume();
        if (round % 100 == 0) {
            ASSERT_TRUE(goesOn());
        }
    }
    EXPECT_EQ(round, log.count(u"paused "));
}

TEST_F(ThreadSuspensionTest, StopsWhatComputesAndWhatBlocks) {
    begin([] {});
    ASSERT_TRUE(suspend());
    const std::uint64_t stood = steps;
    EXPECT_TRUE(suspend()); // no count is kept
    EXPECT_EQ(stood, steps);
    target->resume();
    target->resume();
    EXPECT_TRUE(goesOn());
    finish();

    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    begin([&] {
        char c = 0;
        EXPECT_EQ(1, steps > 0 ? read(ends[0], &c, 1) : 1);
    });
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(suspend());
        ASSERT_EQ(1, write(ends[1], "x", 1));
        EXPECT_TRUE(target->isSuspended());
        const std::uint64_t before = steps;
        target->resume();
        ASSERT_TRUE(eventually([&] { return steps > before; }));
    }
    ending = true;
    ASSERT_EQ(1, write(ends[1], "x", 1));
    thread.join();
    close(ends[0]);
    close(ends[1]);
}

TEST_F(ThreadSuspensionTest, WorkThatNeedsALockOfTheWorkerComesToItsEnd) {
    static std::mutex shared; // the worker outlives the test's body
    begin([] {
        const auto compute = [] {
            std::atomic<int> i{0};
            while (i.fetch_add(1, std::memory_order_relaxed) < 100'000) {
            }
        };
        compute();
        const std::lock_guard guard(shared); // and is stopped with it as often as not
        compute();
    });
    for (std::size_t i = 0; i < rounds(20); ++i) {
        ASSERT_TRUE(suspend());
        {
            const SuspensionRelief relief(target, probe);
            const std::lock_guard guard(shared);
        }
        const std::uint64_t stood = steps;
        EXPECT_TRUE(target->isSuspended());
        EXPECT_EQ(stood, steps);
        target->resume();
    }
    ASSERT_TRUE(suspend());
    { // a resume during the work holds
        const SuspensionRelief relief(target, probe);
        target->resume();
    }
    EXPECT_FALSE(target->isSuspended());
    EXPECT_TRUE(goesOn());
}

TEST_F(ThreadSuspensionTest, AThreadThatHasEndedIsNotStopped) {
    EXPECT_FALSE(suspend());
    begin([] {});
    ending = true;
    thread.join();
    EXPECT_FALSE(suspend());
}

} // namespace

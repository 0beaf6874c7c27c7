// The queue between native threads and the Java thread that polls. It needs no virtual machine.

#include "jni/JniCallbackQueue.h"

#include "support/Actor.h"
#include "support/Files.h"
#include "support/NothingLeft.h"

#include "exception/NorqException.h"
#include "jni/JniPreferenceChangeListener.h"
#include "jni/PreferenceChangeJniCallback.h"
#include "prefs/MemoryPreferences.h"
#include "prefs/PreferenceChangeEvent.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <vector>

using namespace norq_std;
using norqstd_test::Actor;

namespace {

class JniCallbackQueueTest : public norqstd_test::NothingLeft {
protected:
    JniCallbackQueue& queue = JniCallbackQueue::getInstance();
};

/// Becomes the object of its number.
class Numbered : public IJniCallback {
public:
    explicit Numbered(std::uintptr_t itsNumber)
        : number(itsNumber) {}
    jobject createJniObject(JNIEnv*) override { return reinterpret_cast<jobject>(number); }

private:
    std::uintptr_t number;
};

std::shared_ptr<IJniCallback> numbered(std::uintptr_t number) { return std::make_shared<Numbered>(number); }

std::uintptr_t next(JniCallbackQueue& queue) { return reinterpret_cast<std::uintptr_t>(queue.dequeue(nullptr)); }

constexpr const char16_t* Ended = u"JniCallbackQueue is shutdown.";

template <class Exception, class Step>
bool throws(const Step& step, const char16_t* message) {
    try {
        step();
    } catch (const Exception& failure) {
        return failure.getMessage() == message;
    }
    return false;
}

} // namespace

TEST_F(JniCallbackQueueTest, EntriesThatCameBeforeThePollerWokeAreAllDeliveredInOrder) {
    for (std::uintptr_t i = 1; i <= 3; ++i)
        queue.enqueue(numbered(i));
    for (std::uintptr_t i = 1; i <= 3; ++i)
        EXPECT_EQ(next(queue), i);
    Actor poller;
    std::uintptr_t taken = 0;
    const auto poll = poller.begin([&] { taken = next(queue); });
    EXPECT_FALSE(norqstd_test::isReady(poll)) << "nothing is left over that would wake it";
    queue.enqueue(numbered(4));
    ASSERT_TRUE(norqstd_test::becomesReady(poll));
    EXPECT_EQ(taken, 4u);
    EXPECT_TRUE(
        throws<NorqIllegalArgumentException>([&] { queue.enqueue(nullptr); }, u"JNI callback object value is NULL."));
}

TEST_F(JniCallbackQueueTest, ManyPollersGetEachEntryOnceAndNoNull) {
    constexpr std::size_t Pollers = 4, Sources = 3;
    const std::size_t each = norqstd_test::rounds(4000) * Pollers;
    std::vector<std::atomic<int>> seen(each * Sources + 1);
    {
        std::vector<std::unique_ptr<Actor>> actors;
        std::vector<std::future<void>> done;
        const auto run = [&](auto step) {
            actors.push_back(std::make_unique<Actor>());
            done.push_back(actors.back()->begin(step));
        };
        for (std::size_t p = 0; p < Pollers; ++p)
            run([&] {
                for (std::size_t i = 0; i < each * Sources / Pollers; ++i)
                    ++seen[next(queue)];
            });
        for (std::size_t s = 0; s < Sources; ++s)
            run([&, s] {
                for (std::size_t i = 0; i < each; ++i)
                    queue.enqueue(numbered(s * each + i + 1));
            });
        for (const std::future<void>& step : done)
            ASSERT_TRUE(norqstd_test::becomesReady(step));
    }
    EXPECT_EQ(seen[0], 0) << "a null would have ended the poller's loop";
    for (std::size_t i = 1; i < seen.size(); ++i)
        ASSERT_EQ(seen[i], 1) << i;
}

TEST_F(JniCallbackQueueTest, ShutdownEndsThePollerAndIsForGood) {
    // In a process of its own: the queue does not come back.
    const int failed = norqstd_test::inChild([&] {
        const auto entry = std::make_shared<Numbered>(1);
        {
            Actor poller;
            std::uintptr_t taken = 1;
            const auto poll = poller.begin([&] { taken = next(queue); });
            queue.enqueue(entry);
            if (!norqstd_test::becomesReady(poll) || taken != 1)
                return 1;
            auto last = poller.begin([&] { taken = next(queue); });
            queue.shutdown(); // whether or not the poller waits already
            try {
                last.get();
                if (taken != 0)
                    return 2;
            } catch (const NorqIllegalStateException&) { // it came later
            }
        }
        queue.shutdown();
        if (!throws<NorqIllegalStateException>([&] { queue.enqueue(entry); }, Ended) ||
            !throws<NorqIllegalStateException>([&] { next(queue); }, Ended))
            return 3;
        return entry.use_count() == 1 ? 0 : 4;
    });
    EXPECT_EQ(failed, 0);
}

TEST_F(JniCallbackQueueTest, ShutdownDropsWhatIsQueuedAndWhatComesLater) {
    const int failed = norqstd_test::inChild([&] {
        const auto entry = std::make_shared<Numbered>(1);
        queue.enqueue(entry);
        queue.enqueue(entry);
        if (entry.use_count() != 3)
            return 1;
        queue.shutdown();
        if (entry.use_count() != 1 || !throws<NorqIllegalStateException>([&] { next(queue); }, Ended))
            return 2;
        const auto root = norqstd_test::MemoryPreferences::newRoot();
        const auto change = PreferenceChangeEvent::newInstance(root->node(u"a"), u"", u"k", u"v");
        JniPreferenceChangeListener().preferenceChange(change); // what it threw would end the child by a signal
        root->drop();
        return 0;
    });
    EXPECT_EQ(failed, 0);
}

TEST_F(JniCallbackQueueTest, AChangeNeedsAPathAndAKeyAndNoValue) {
    using Change = PreferenceChangeJniCallback;
    EXPECT_TRUE(throws<NorqIllegalArgumentException>([] { Change(1, u"", u"k", u"v"); }, u"Path value is empty."));
    EXPECT_TRUE(throws<NorqIllegalArgumentException>([] { Change(1, u"p", u"", u"v"); }, u"Key value is empty."));
    const Change change(1, u"a\\b", u"k", u"");
    Change copy(2, u"p", u"k", u"v");
    copy = change;
}

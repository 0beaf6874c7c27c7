#include "pattern/Singleton.h"
#include "platform/DebugOutput.h"
#include "support/DebugCapture.h"
#include "support/Limits.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <future>
#include <semaphore>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using norq_std::Singleton;

std::atomic<int> madeObjects{0};

class Service : public Singleton<Service> {
public:
    int complete = 0;

private:
    friend class Singleton<Service>;
    Service() {
        ++madeObjects;
        std::this_thread::yield();
        complete = 42;
    }
    static const char16_t* getSingletonName() { return u"Service"; }
};

TEST(SingletonTest, ThreadsThatMeetGetOneCompleteObject) {
    constexpr int Threads = 8;
    std::barrier start(Threads);
    std::vector<Service*> seen(Threads);
    std::vector<std::thread> threads;
    for (int t = 0; t < Threads; ++t)
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            Service& service = Service::getInstance();
            EXPECT_EQ(service.complete, 42);
            seen[static_cast<std::size_t>(t)] = &service;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(std::set<Service*>(seen.begin(), seen.end()).size(), 1u);
    EXPECT_EQ(madeObjects, 1);
}

/// Its construction lasts until a second thread has asked for it.
class Awaited : public Singleton<Awaited> {
public:
    static inline std::binary_semaphore first{0}, second{0};

private:
    friend class Singleton<Awaited>;
    Awaited() {
        first.release();
        second.acquire();
    }
    static const char16_t* getSingletonName() { return u"Awaited"; }
};

TEST(SingletonTest, CreationIsLoggedWithoutTheLock) {
    const norqstd_test::DebugCapture threshold(norq_std::TRACE);
    int asked = 0; // the channel takes one line at a time
    std::future<void> other;
    std::future_status whenLogged{};
    norq_std_internal::platform::setDebugOutputSink([&](std::u16string_view text) {
        if (text.find(u"Creating singleton <Awaited>") != text.npos && ++asked == 2)
            Awaited::second.release();
        else if (text.find(u"Created singleton <Awaited>") != text.npos)
            whenLogged = other.wait_for(norqstd_test::longLimit());
    });
    other = std::async(std::launch::async, [&] {
        Awaited::first.acquire();
        Awaited::getInstance();
    });
    Awaited::getInstance();
    norq_std_internal::platform::setDebugOutputSink({});
    EXPECT_EQ(whenLogged, std::future_status::ready);
}

int failuresLeft = 2;

class Stubborn : public Singleton<Stubborn> {
private:
    friend class Singleton<Stubborn>;
    Stubborn() {
        if (failuresLeft-- > 0)
            throw std::runtime_error("not yet");
    }
    static const char16_t* getSingletonName() { return u"Stubborn"; }
};

TEST(SingletonTest, FailedConstructionIsTriedAgain) {
    const norqstd_test::DebugCapture capture(norq_std::TRACE);
    EXPECT_THROW(Stubborn::getInstance(), std::runtime_error);
    EXPECT_THROW(Stubborn::getInstance(), std::runtime_error);
    EXPECT_EQ(&Stubborn::getInstance(), &Stubborn::getInstance());
    EXPECT_EQ(capture.count(u" : Creating singleton <Stubborn>.\n"), 3u);
    EXPECT_EQ(capture.count(u" : Created singleton <Stubborn>.\n"), 1u);
}

} // namespace

#include "pattern/Singleton.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
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

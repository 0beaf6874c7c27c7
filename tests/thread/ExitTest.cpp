#include "base/LogMacros.h"
#include "concurrency/Event.h"
#include "concurrency/StdDequeBlockingQueue.h"
#include "support/Limits.h"
#include "thread/AbstractNotificationThread.h"
#include "thread/Thread.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

using namespace norq_std;

namespace {

constexpr std::string_view ExitSwitch = "--exit-with-workers";

class Logging : public Runnable {
public:
    void run() override {
        for (;;) {
            NORQ_LOG(DEBUG, u"ExitTest::Logging", u"%d", 1);
            try {
                throw NorqIOException(u"again");
            } catch (const NorqException& e) {
                e.logDebug(u"ExitTest::Logging");
            }
        }
    }
};

class Sleeping : public AbstractNotificationThread {
public:
    using AbstractNotificationThread::AbstractNotificationThread;
    void run() override {
        for (;;)
            sleepForPeriod(1);
    }
};

class Polling : public Runnable {
public:
    void run() override {
        StdDequeBlockingQueue<std::shared_ptr<WString>, std::shared_ptr<WString>> queue(1);
        for (;;) {
            queue.poll(1);
            queue.offer(std::make_shared<WString>(u"x"), 1);
        }
    }
};

/// The whole life of a program that ends while its workers run.
int exitWithWorkers() {
    static std::vector<std::unique_ptr<Thread>>& threads = *new std::vector<std::unique_ptr<Thread>>;
    threads.push_back(std::make_unique<Thread>(std::make_shared<Logging>(), u"logging"));
    threads.push_back(std::make_unique<Thread>(std::make_shared<Polling>(), u"polling"));
    threads.push_back(std::make_unique<Sleeping>(u"sleeping"));
    for (const auto& thread : threads)
        thread->start();
    Thread orphan(std::make_shared<Logging>(), u"orphan");
    orphan.setJoinOnDestruct(false);
    orphan.start();
    for (const auto& thread : threads)
        thread->waitForStart(-1);
    return 0;
}

TEST(ProcessExit, IsSilentWhileWorkersRun) {
    const std::string command = "exec /proc/" + std::to_string(getpid()) + "/exe " + std::string(ExitSwitch) + " 2>&1";
    for (std::size_t round = 0; round < norqstd_test::rounds(200); ++round) {
        std::FILE* const child = popen(command.c_str(), "r");
        ASSERT_NE(child, nullptr);
        std::string output;
        for (int c = std::fgetc(child); c != EOF; c = std::fgetc(child))
            output.push_back(static_cast<char>(c));
        const int status = pclose(child);
        ASSERT_EQ(status, 0);
        ASSERT_EQ(output, "");
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 2 && argv[1] == ExitSwitch)
        return exitWithWorkers();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

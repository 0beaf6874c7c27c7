#include "process/StopRequest.h"

#include "exception/NorqException.h"
#include "process/Children.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include <sys/stat.h>

namespace norqstd_test {
namespace {

using namespace norq_std;

class StopRequestTest : public Children {
protected:
    static WString unique(const WString& name) { return name + wide(std::to_string(getpid())); }
    static void signal(const WString& name) { Process::getCurrentProcess()->signalShutdown(name); }
    static bool comes(StopRequest& request) {
        return Concurrency::waitForSingleObject(request, longLimitMillis()) == 0;
    }
    static std::filesystem::path eventFile(const WString& name) {
        const std::filesystem::path folder = "/dev/shm/norqstd-" + std::to_string(geteuid());
        return folder / EncodingUtils::convertUnicodeToUtf8(name);
    }
    static bool isLeft(const WString& name) { return std::filesystem::exists(eventFile(name)); }
};

TEST_F(StopRequestTest, EachNameIsAnEventOfItsOwn) {
    const std::vector<WString> names{
        unique(u"plain"), unique(u"Plain"),   unique(u"Global\\a"),
        unique(u"../a"),  unique(u"a/b"),     unique(u"a%2Fb"),
        unique(u". \n"),  unique(u"Größe 😀"), unique(WString(255 - unique({}).size(), u'x'))};
    for (const WString& name : names) {
        std::vector<std::unique_ptr<StopRequest>> requests;
        for (const WString& one : names)
            requests.push_back(std::make_unique<StopRequest>(one));
        signal(name);
        for (const auto& request : requests) {
            if (request->getName() == name)
                EXPECT_TRUE(comes(*request));
            else
                EXPECT_FALSE(request->isSignaled());
        }
    }
    EXPECT_EQ(StopRequest(names[0]).toString(), u"StopRequest{name='" + names[0] + u"'}");
    EXPECT_FALSE(isLeft(names[0]));
    EXPECT_THROW(StopRequest{WString()}, NorqIllegalArgumentException);
    EXPECT_THROW(StopRequest{WString(256, u'x')}, NorqAccessException);
    EXPECT_THROW(StopRequest{WString(1, u'\xDC00')}, NorqAccessException);
    EXPECT_THROW(signal(WString(256, u'x')), NorqUnknownException);
    EXPECT_NO_THROW(signal({}));
}

TEST_F(StopRequestTest, MixesWithOtherWaitsAndStaysSignaled) {
    const WString name = unique(u"mixed");
    StopRequest request(name);
    Event event(false, false);
    const std::vector<Waitable*> both{&event, &request};
    EXPECT_EQ(Concurrency::waitForMultipleObjects(both, WAIT_ANY, 0), -1);
    signal(name);
    EXPECT_EQ(Concurrency::waitForMultipleObjects(both, WAIT_ANY, longLimitMillis()), 1);
    event.signal();
    EXPECT_EQ(Concurrency::waitForMultipleObjects(both, WAIT_ALL, longLimitMillis()), 0);
    EXPECT_TRUE(StopRequest(name).isSignaled()) << "a later one of a name that is held and was signaled";
    EXPECT_TRUE(request.isSignaled());
}

TEST_F(StopRequestTest, NothingIsLeftOfASignalThatNobodyWaitsFor) {
    const WString name = unique(u"nobody");
    signal(name);
    EXPECT_FALSE(isLeft(name));
    put(eventFile(name), "what a redirection to no event leaves");
    signal(name);
    EXPECT_FALSE(isLeft(name));
    EXPECT_FALSE(StopRequest(name).isSignaled());
}

TEST_F(StopRequestTest, ClosingLeavesAnotherEventOfItsNameAlone) {
    const WString name = unique(u"replaced");
    auto first = std::make_unique<StopRequest>(name);
    std::filesystem::remove(eventFile(name)); // as a cleaning of the folder does
    StopRequest second(name);
    first.reset();
    signal(name);
    EXPECT_TRUE(comes(second));
}

TEST_F(StopRequestTest, OpeningWhatIsThereLooksAtNoOther) {
    const StopRequest held(unique(u"held"));
    const WString stale = unique(u"stale");
    EXPECT_TRUE(eventually([&] {                // other processes may create one meanwhile
        mkfifo(eventFile(stale).c_str(), 0600); // as a killed holder leaves it
        const StopRequest again(unique(u"held"));
        return isLeft(stale);
    }));
    const StopRequest created(unique(u"created"));
    EXPECT_FALSE(isLeft(stale));
}

TEST_F(StopRequestTest, TheEventGoesWithItsLastHolderEvenIfThatIsKilled) {
    const WString name = unique(u"killed");
    const std::string event = EncodingUtils::convertUnicodeToUtf8(name);
    std::vector<Process> holders;
    for (const char* report : {"first", "second"}) {
        holders.push_back(start("ignore" + quoted(report) + event));
        ASSERT_NE(reported(report), "");
    }
    signal(name);
    for (Process& holder : holders) {
        EXPECT_TRUE(StopRequest(name).isSignaled());
        kill(static_cast<pid_t>(holder.getId()), SIGKILL);
        ASSERT_TRUE(ends(holder));
        EXPECT_EQ(holder.getExitCode(), 128 + SIGKILL);
    }
    EXPECT_FALSE(StopRequest(unique(u"other")).isSignaled());
    EXPECT_FALSE(isLeft(name));
    EXPECT_FALSE(StopRequest(name).isSignaled());
}

TEST_F(StopRequestTest, NoSignalIsLostWhileOthersComeAndGo) {
    const WString name = unique(u"busy");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (std::size_t round = rounds(500); round > 0; --round) {
                StopRequest request(name);
                signal(name);
                EXPECT_TRUE(comes(request));
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_FALSE(isLeft(name));
}

} // namespace
} // namespace norqstd_test

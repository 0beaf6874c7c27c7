#include "process/Process.h"

#include "concurrency/Concurrency.h"
#include "concurrency/Event.h"
#include "exception/NorqException.h"
#include "support/Actor.h"
#include "support/DebugCapture.h"
#include "support/Files.h"
#include "support/Limits.h"
#include "support/NothingLeft.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace norqstd_test {
namespace {

using namespace norq_std;

class ProcessTest : public NothingLeft {
protected:
    static bool ends(const Process& process) {
        return Concurrency::waitForSingleObject(*process.getShutdownEvent(), longLimitMillis()) == 0;
    }
    static Process start(const std::string& arguments) { return {at(CHILD_PROGRAM), wide(arguments), File()}; }
    /// A file that the child makes once it has something to say.
    std::filesystem::path report() { return folder() / "report"; }
    std::string quotedReport() { return "'" + report().string() + "' "; }
    bool reports() {
        return eventually([&] { return std::filesystem::exists(report()); });
    }
};

TEST_F(ProcessTest, GivesTheExitCodeOrTheSignal) {
    for (const auto& [arguments, code] : {std::pair{"exit 0", 0}, {"exit 255", 255}, {"die 6", 134}, {"", 99}}) {
        const Process process = start(arguments);
        ASSERT_TRUE(ends(process)) << arguments;
        EXPECT_FALSE(process.isRunning());
        EXPECT_EQ(process.getExitCode(), code) << arguments;
    }
}

TEST_F(ProcessTest, AChildThatHonoursTheRequestEndsByItself) {
    Process process = start("obey " + quotedReport() + "norqstd-test-stop");
    ASSERT_TRUE(reports());
    EXPECT_TRUE(process.isRunning());
    EXPECT_THROW(process.getExitCode(), NorqIllegalStateException);
    process.setMaxWaitTime(longLimitMillis());
    process.stop(u"norqstd-test-stop");
    EXPECT_EQ(process.getExitCode(), 7);
}

TEST_F(ProcessTest, AChildThatIgnoresTheRequestIsKilled) {
    Process process = start("ignore " + quotedReport());
    ASSERT_TRUE(reports());
    process.setMaxWaitTime(0);
    process.stop(u"norqstd-test-stop");
    ASSERT_TRUE(ends(process));
    EXPECT_EQ(process.getExitCode(), 0);
}

} // namespace
} // namespace norqstd_test

#include "machine/Scenario.h"

#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "file/File.h"

#include <gtest/gtest.h>

namespace {

using namespace norq_std;
using namespace norqstd_test;

void startMachine() { JVM::loadJVM(File(UtfUtils::utf8ToUtf16(TEST_JVM)), machineOptions(TEST_JAR)); }

TEST(MachineFaults, HandlersThenMachine) {
    NorqException::installHandler();
    startMachine();
    EXPECT_EQ(faultsOnServedThread(true), "good");
    EXPECT_EQ(faultsOnServedThread(false), "good");
    EXPECT_TRUE(accessFaultIsTranslated());
}

TEST(MachineFaults, MachineThenHandlers) {
    startMachine();
    EXPECT_EQ(faultsOnServedThread(true), "good");
    EXPECT_EQ(faultsOnServedThread(false), "good");
}

} // namespace

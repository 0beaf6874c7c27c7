#include "machine/Scenario.h"

#include "base/EncodingUtils.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "jni/JVM.h"

#include <gtest/gtest.h>

namespace {

using namespace norq_std;
using namespace norqstd_test;

std::shared_ptr<JVM> startMachine() {
    const WString classPath = u"-Djava.class.path=" + EncodingUtils::convertUtf8ToUnicode(TEST_JAR);
    return JVM::loadJVM(File(EncodingUtils::convertUtf8ToUnicode(TEST_JVM)), {u"-Xcheck:jni", u"-Xrs", classPath});
}

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

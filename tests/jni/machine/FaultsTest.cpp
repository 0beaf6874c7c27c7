#include "machine/Scenario.h"

#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "support/Files.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <dlfcn.h>
#include <exception>

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

TEST(MachineFaults, BelowJavaAreNotThrownThroughIt) {
    const int status = inChild([] {
        NorqException::installHandler();
        startMachine();
        std::set_terminate([] { std::_Exit(10); });
        const std::shared_ptr<JNIEnv> env = JVM::getInstance()->getEnv();
        const Probe probe(*env);
        try {
            env->CallStaticVoidMethod(probe.type, probe.method("faultBelowJava", "(Ljava/lang/String;)V"),
                                      env->NewStringUTF(FAKE_MACHINE));
        } catch (const NorqException&) {
            return 11;
        }
        return 12;
    });
    EXPECT_EQ(status, -SIGSEGV);
}

TEST(MachineFaults, OfAMachineThatIsBeingCreatedAreItsOwn) {
    enum Outcome { Translated = 10, Refused, GoneOn };
    const auto attempt = [](const std::vector<WString>& options) {
        NorqException::installHandler();
        try {
            JVM::loadJVM(File(UtfUtils::utf8ToUtf16(FAKE_MACHINE)), options);
        } catch (const NorqAccessException&) {
            return Translated;
        } catch (const NorqIOException&) {
            return Refused;
        }
        return GoneOn;
    };
    const int status = inChild([&] { return attempt({u"-Xfault"}); });
    EXPECT_TRUE(status < Translated) << status;

    EXPECT_EQ(attempt({}), Refused);
    void* const fake = dlopen(FAKE_MACHINE, RTLD_NOW);
    EXPECT_THROW(reinterpret_cast<void (*)()>(dlsym(fake, "fakeMachineFault"))(), NorqAccessException)
        << "it is no machine";
    dlclose(fake);
}

} // namespace

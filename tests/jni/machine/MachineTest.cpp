#include "machine/Scenario.h"

#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "jni/JNIExceptionLogger.h"
#include "jni/JniCallbackQueue.h"
#include "jni/JniUtils.h"
#include "jni/NorqJNIException.h"
#include "support/DebugCapture.h"
#include "support/Limits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

extern "C" jobject Java_com_vantrell_util_prefs_RegistryPreferencesJni_getJniCallbackData(JNIEnv*, jobject);

namespace {

using namespace norq_std;
using namespace norqstd_test;

/// One machine for all tests, if they run in one process, found in a registry of their own that the tool fills. The
/// main thread belongs to it.
class MachineTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        std::string folder = (std::filesystem::temp_directory_path() / "norqstd-runtimes-XXXXXX").string();
        ASSERT_NE(mkdtemp(folder.data()), nullptr);
        setenv("NORQSTD_REGISTRY_MACHINE", folder.c_str(), 1);
        ASSERT_EQ(std::system("'" TEST_NORQREG "' add-jvms > /dev/null"), 0);
        JVM::loadJVM(u"17", machineOptions(TEST_JAR));
        std::filesystem::remove_all(folder);
    }

    MachineTest()
        : env(JVM::getInstance()->getEnv())
        , probe(*env) {}
    ~MachineTest() override {
        EXPECT_EQ(env->ExceptionCheck(), JNI_FALSE);
        env->DeleteLocalRef(probe.type);
    }

    jstring javaText(const WString& text) {
        return env->NewString(reinterpret_cast<const jchar*>(text.data()), static_cast<jsize>(text.size()));
    }
    jobject made(const char* name, const char* signature) {
        return env->CallStaticObjectMethod(probe.type, probe.method(name, signature));
    }
    /// The pending exception's text, which is cleared; empty for none.
    static WString pendingText() {
        try {
            NorqJNIException::throwIfPresent();
        } catch (const NorqJNIException& e) {
            return e.getMessage();
        }
        return {};
    }

    std::shared_ptr<JNIEnv> env;
    Probe probe;
};

TEST_F(MachineTest, ExceptionsCarryClassAndText) {
    const WString text = u"gr\u00FC\u00DFe \U0001F600\xD800.";
    throwException(env.get(), text, true);
    throwRuntimeException(env.get(), u"the second is dropped", false);
    EXPECT_EQ(pendingText(), u"java.lang.Exception: " + text);
    throwRuntimeException(env.get(), u"", false);
    EXPECT_EQ(pendingText(), u"java.lang.RuntimeException: ");
    throwIllegalArgumentException(env.get(), u"a", false);
    EXPECT_EQ(pendingText(), u"java.lang.IllegalArgumentException: a");
    throwIllegalStateException(env.get(), u"b", false);
    EXPECT_EQ(pendingText(), u"java.lang.IllegalStateException: b");
    throwSecurityException(env.get(), u"c", false);
    EXPECT_EQ(pendingText(), u"java.lang.SecurityException: c");
    throwException(env.get(), "no/such/Class", u"d", false);
    EXPECT_EQ(pendingText(), u"java.lang.NoClassDefFoundError: no/such/Class");
}

TEST_F(MachineTest, TextCrossesInBothDirections) {
    EXPECT_EQ(getJniString(env.get(), javaText(u"a\xDC00 \U0001F600")), u"a\xDC00 \U0001F600");
    EXPECT_EQ(getJniString(env.get(), javaText(WString(u"ab\0cd", 5))), u"ab");
    EXPECT_EQ(getJniString(env.get(), javaText(u"")), u"");
    EXPECT_EQ(getJniString(env.get(), nullptr), u"");

    const std::vector<WString> texts = {u"", u"b\xD800", u"\u4E2D"};
    jobjectArray const array = newJniStringArray(env.get(), texts);
    ASSERT_EQ(env->GetArrayLength(array), 3);
    for (jsize i = 0; i < 3; ++i)
        EXPECT_EQ(getJniString(env.get(), static_cast<jstring>(env->GetObjectArrayElement(array, i))),
                  texts[static_cast<std::size_t>(i)]);
    env->DeleteLocalRef(array);
    throwException(env.get(), u"pending", false);
    EXPECT_EQ(newJniStringArray(env.get(), texts), nullptr);
    EXPECT_EQ(pendingText(), u"java.lang.Exception: pending");
}

TEST_F(MachineTest, ABooleanIsOverwritten) {
    jclass const type = env->FindClass("java/lang/Boolean");
    jobject const flag = env->NewObject(type, env->GetMethodID(type, "<init>", "(Z)V"), JNI_FALSE);
    const auto value = [&] {
        const bool set = env->CallBooleanMethod(flag, env->GetMethodID(type, "booleanValue", "()Z")) != JNI_FALSE;
        return env->ExceptionCheck() == JNI_FALSE && set;
    };
    setBoolean(env.get(), flag, true);
    EXPECT_TRUE(value());
    setBoolean(env.get(), flag, false);
    EXPECT_FALSE(value());
    setBoolean(env.get(), type, true); // which is no Boolean
}

TEST_F(MachineTest, AJavaExceptionShowsItsFrames) {
    auto* const framed = static_cast<jthrowable>(made("withFrames", "()Ljava/lang/RuntimeException;"));
    ASSERT_EQ(env->ExceptionCheck(), JNI_FALSE);
    const NorqJNIException exception(framed);
    EXPECT_EQ(exception.getMessage(), u"java.lang.RuntimeException: framed");
    EXPECT_EQ(exception.getStackTraceString(), u"java.lang.RuntimeException: framed\n\tat a.B.plain(B.java:7)"
                                               u"\n\tat a.B.called(Native Method)\n\tat a.B.unknown(:3)"
                                               u"\n\tat a.B.noLine(B.java)");
    const NorqJNIException copy(exception);
    EXPECT_EQ(copy.getStackTraceString(), exception.getStackTraceString());

    auto* const unreadable = static_cast<jthrowable>(made("unreadable", "()Ljava/lang/RuntimeException;"));
    ASSERT_EQ(env->ExceptionCheck(), JNI_FALSE);
    throwException(env.get(), u"pending", false);
    EXPECT_EQ(NorqJNIException(unreadable).getStackTraceString(), u"");
    EXPECT_EQ(pendingText(), u"java.lang.Exception: pending") << "the reading of another cleared it";
}

TEST_F(MachineTest, ALoggedExceptionIsClearedWhetherOrNotItIsLogged) {
    const DebugCapture log(DEBUG);
    JNIExceptionLogger::logDebug(u"here", nullptr);
    throwException(env.get(), u"one", false);
    JNIExceptionLogger::logDump(u"here", nullptr);
    EXPECT_EQ(env->ExceptionCheck(), JNI_FALSE);
    EXPECT_EQ(log.lines().size(), 0u);
    throwException(env.get(), u"two", false);
    JNIExceptionLogger::logDebug(u"here", nullptr);
    EXPECT_EQ(env->ExceptionCheck(), JNI_FALSE);
    EXPECT_EQ(log.count(u"JNI Exception: java.lang.Exception: two"), 1u);
    EXPECT_EQ(log.lines().size(), 1u);
    EXPECT_TRUE(JNIExceptionLogger::getInstance().isInitialized());
}

TEST_F(MachineTest, AFailedChangeIsNotTakenForTheEnd) {
    const auto poll = [&] {
        return Java_com_vantrell_util_prefs_RegistryPreferencesJni_getJniCallbackData(env.get(), nullptr);
    };
    struct Failing : IJniCallback {
        jobject createJniObject(JNIEnv*) override { throw NorqIllegalStateException(u"failed"); }
    };
    JniCallbackQueue::getInstance().enqueue(std::make_shared<Failing>());
    EXPECT_EQ(poll(), nullptr);
    EXPECT_EQ(pendingText(), u"java.lang.IllegalStateException: failed");
    JniCallbackQueue::getInstance().shutdown();
    EXPECT_EQ(poll(), nullptr);
    EXPECT_EQ(pendingText(), u"");
}

jint attachment() {
    void* found = nullptr;
    return JVM::getInstance()->getJVM()->GetEnv(&found, JVM::USE_JNI_VERSION);
}

TEST_F(MachineTest, AThreadIsAttachedAsLongAsACopyLives) {
    std::thread([] {
        std::shared_ptr<JNIEnv> first = JVM::getInstance()->getEnv();
        std::shared_ptr<JNIEnv> copy = first;
        JVM::getInstance()->getEnv().reset(); // a second one, which owns nothing
        first.reset();
        EXPECT_EQ(attachment(), JNI_OK);
        copy.reset();
        EXPECT_EQ(attachment(), JNI_EDETACHED);
    }).join();
    EXPECT_THROW(JVM::loadJVM(u"17", {}), NorqIllegalArgumentException);
    EXPECT_FALSE(JVM::setJVM(JVM::getInstance()->getJVM()));
}

TEST_F(MachineTest, SixtyFourThreadsAttachAndDetach) {
    std::atomic<std::size_t> attached{0};
    std::vector<std::thread> threads;
    const std::size_t times = rounds(10'000);
    for (int i = 0; i < 64; ++i)
        threads.emplace_back([&] {
            for (std::size_t round = 0; round < times; ++round) {
                const std::shared_ptr<JNIEnv> mine = JVM::getInstance()->getEnv();
                attached += mine->GetVersion() >= JVM::USE_JNI_VERSION ? 1 : 0;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(attached, 64 * times);
}

std::size_t residentPages() {
    std::ifstream file("/proc/self/statm");
    std::size_t size = 0;
    std::size_t resident = 0;
    file >> size >> resident;
    return resident;
}

TEST_F(MachineTest, ALongLoopKeepsNoLocalReferences) {
    std::thread([] {
        const std::shared_ptr<JNIEnv> mine = JVM::getInstance()->getEnv();
        const auto round = [&] {
            throwRuntimeException(mine.get(), u"text", false);
            pendingText();
            mine->DeleteLocalRef(newJniStringArray(mine.get(), {u"a", u"b"}));
            getJniString(mine.get(), mine->NewStringUTF("c"));
        };
        // A reference that is left behind in each round takes a word of native memory, and what it refers to.
        constexpr std::size_t Many = 200'000;
        for (std::size_t i = 0; i < rounds(Many); ++i)
            round();
        // The machine itself takes more now and then, for compiled code or a larger part of its heap.
        constexpr std::size_t Room = 256;
        std::size_t least = SIZE_MAX;
        for (int turn = 0; turn < 5 && least >= Room; ++turn) {
            const std::size_t before = residentPages();
            for (std::size_t i = 0; i < rounds(Many); ++i)
                round();
            least = std::min(least, std::max(residentPages(), before) - before);
        }
        EXPECT_LT(least, Room) << "pages";
    }).join();
}

} // namespace

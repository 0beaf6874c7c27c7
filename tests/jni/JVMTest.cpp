// What of the virtual machine's holder runs without one.

#include "jni/JVM.h"

#include "base/AutoRegisterClass.h"
#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "jni/JNIExceptionLogger.h"
#include "jni/JniUtils.h"
#include "jni/NorqJNIException.h"
#include "jni/PreferenceChangeJniCallback.h"
#include "prefs/MemoryPreferences.h"
#include "prefs/PreferencesFactory.h"
#include "support/DebugCapture.h"
#include "support/Rerun.h"
#include "system/NorqSystem.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <jni.h>
#include <new>

extern "C" void Java_com_vantrell_util_prefs_RegistryPreferencesJni_deleteKey(JNIEnv*, jobject, jint, jstring);

namespace {

using namespace norq_std;
using norqstd_test::DebugCapture;
using norqstd_test::MemoryPreferences;
using norqstd_test::Rerun;

/// What stays behind a load belongs to the process, so that a test that loads runs in one of its own.
#define IN_A_PROCESS_OF_ITS_OWN()                                                                                      \
    if (!Rerun::inside()) {                                                                                            \
        const auto* const info = ::testing::UnitTest::GetInstance()->current_test_info();                              \
        EXPECT_EQ(Rerun(std::string(info->test_suite_name()) + "." + info->name()).errors(), "");                      \
        return;                                                                                                        \
    }

WString wide(const std::string& text) { return UtfUtils::utf8ToUtf16(text); }

template <class Exception, class Call>
std::string failureOf(const Call& call) {
    try {
        call();
    } catch (const Exception& e) {
        return UtfUtils::utf16ToUtf8(e.getMessage());
    }
    return "nothing was thrown";
}

TEST(JVMVersionTest, EachPieceIsReadUpToItsSeparator) {
    struct Row {
        const WChar* text;
        std::vector<std::int32_t> numbers;
        const WChar* qualifier;
    };
    const Row rows[] = {
        {u"1.6.0_24-b07", {1, 6, 0, 24}, u"b07"},
        {u"1.6.0-rc", {1, 6, 0, 0}, u"rc"},
        {u"1.6.0-rc_3-x", {1, 6, 0, 0}, u"rc_3-x"},
        {u"17.0.15", {17, 0, 15, 0}, u""},
        {u"1.6", {1, 6, 0, 0}, u""},
        {u"1", {1, 0, 0, 0}, u""},
        {u"1.", {1, 0, 0, 0}, u""},
        {u"1.6.0_", {1, 6, 0, 0}, u""},
        {u"1..5_ +7-", {1, 0, 5, 7}, u""},
        {u"x1.6y.-3_99999999999", {0, 6, 0, 0}, u"3_99999999999"},
        {u"1.2.3_99999999999", {1, 2, 3, INT32_MAX}, u""},
        {u"-4.2", {-4, 2, 0, 0}, u""},
        {u"", {0, 0, 0, 0}, u""},
    };
    for (const Row& row : rows) {
        const JVM::JVMVersion version = JVM::getJVMVersion(row.text);
        EXPECT_EQ((std::vector{version.major, version.minor, version.micro, version.update}), row.numbers)
            << UtfUtils::utf16ToUtf8(row.text);
        EXPECT_EQ(version.qualifier, row.qualifier);
    }
}

class RuntimesFactory : public PreferencesFactory, public AutoRegisterClass<RuntimesFactory> {
public:
    WString getClassName() const override { return u"norqstd_test.RuntimesFactory"; }
    std::shared_ptr<Preferences> systemRoot() override { return root(); }
    std::shared_ptr<Preferences> userRoot() override { return MemoryPreferences::newRoot(); }

    static std::shared_ptr<MemoryPreferences> root() {
        static const std::shared_ptr<MemoryPreferences> made = MemoryPreferences::newRoot();
        return made;
    }
};

constexpr const WChar* Runtimes = u"SOFTWARE\\JavaSoft\\Java Runtime Environment";

/// The version that a load chooses among these, or why there is none.
std::string choose(const WString& desired, const std::vector<WString>& versions) {
    RuntimesFactory::registerClass();
    NorqSystem::getInstance().setProperty(u"default.PreferencesFactory", u"norqstd_test.RuntimesFactory");
    RuntimesFactory::root()->stored.clear();
    if (!versions.empty())
        RuntimesFactory::root()->stored.insert(Runtimes);
    for (const WString& version : versions) // each is where no file is, so that no load goes further
        RuntimesFactory::root()->node(Runtimes)->node(version)->put(u"RuntimeLib", u"/nowhere/libjvm.so");
    const DebugCapture log;
    const std::string failure = failureOf<NorqIllegalArgumentException>([&] { JVM::loadJVM(desired, {}); });
    RuntimesFactory::root()->drop();
    if (failure != "Invalid file parameter.")
        return failure;
    for (const WString& version : versions)
        if (log.count(u"Using JVM Version: <" + version + u">.") == 1)
            return UtfUtils::utf16ToUtf8(version);
    return "nothing was chosen";
}

TEST(JVMSearchTest, TheBestMatchIsNoOlderInAnyPlace) {
    EXPECT_EQ(choose(u"1.6", {}), "No version found!");
    EXPECT_EQ(choose(u"1.6", {u"x", u"0.9.1"}), "No version found!");
    EXPECT_EQ(choose(u"1.6.0_24", {u"1.5.0_10", u"1.6.0_24", u"1.6.0_30"}), "1.6.0_24");
    EXPECT_EQ(choose(u"1.7", {u"1.5.0_10", u"1.6.0_24"}),
              "Couldn't find valid version, desired: <1.7> Best Match: <1.6.0_24>.");
    EXPECT_EQ(choose(u"17.0", {u"11.0.2", u"17.0.15", u"21.0.1"}), "17.0.15");
    EXPECT_EQ(choose(u"9", {u"11.0.2", u"17.0.15"}), "17.0.15") << "the later replaces at an equal level";
    // Not at least the best, but the best is not at least it: the list's order decides.
    EXPECT_EQ(choose(u"1.1", {u"1.2.9", u"1.3.1"}), "1.3.1");
    EXPECT_EQ(choose(u"1.1", {u"1.3.1", u"1.4.0"}), "1.4.0");
    EXPECT_EQ(choose(u"1.6.0-b", {u"1.6.0-a"}),
              "Couldn't find valid version, desired: <1.6.0-b> Best Match: <1.6.0-a>.");
}

TEST(JVMLoadTest, OptionsReachTheMachineAndItsRefusalComesBack) {
    IN_A_PROCESS_OF_ITS_OWN();
    void* const fake = dlopen(FAKE_MACHINE, RTLD_NOW);
    ASSERT_NE(fake, nullptr);
    try {
        JVM::loadJVM(File(wide(FAKE_MACHINE)), {u"-Dname=gr\u00FC\u00DFe", u""});
        FAIL() << "no exception";
    } catch (const NorqIOException& e) {
        EXPECT_EQ(e.getMessage(), u"Unable to create Java Virtual Machine.");
        EXPECT_EQ(e.getErrNum(), JNI_ENOMEM);
    }
    EXPECT_STREQ(static_cast<const char*>(dlsym(fake, "fakeMachineCall")), "10006 2 some -Dname=gr\u00FC\u00DFe ");
    // The failed machine stays the only one, and nobody touches it.
    ASSERT_NE(JVM::getInstance(), nullptr);
    EXPECT_EQ(JVM::getInstance()->getEnv(), nullptr);
    NorqJNIException::throwIfPresent();
    const char* const second = "Instance value is not NULL.";
    EXPECT_EQ(failureOf<NorqIllegalArgumentException>([] { JVM::loadJVM(u"1", {}); }), second);
    EXPECT_EQ(failureOf<NorqIllegalArgumentException>([] { JVM::loadJVM(File(wide(FAKE_MACHINE)), {}); }), second);
    dlclose(fake);
}

TEST(JVMLoadTest, NoOptionsAreANullPointer) {
    IN_A_PROCESS_OF_ITS_OWN();
    void* const fake = dlopen(FAKE_MACHINE, RTLD_NOW);
    EXPECT_THROW(JVM::loadJVM(File(wide(FAKE_MACHINE)), {}), NorqIOException);
    EXPECT_STREQ(static_cast<const char*>(dlsym(fake, "fakeMachineCall")), "10006 0 none");
    dlclose(fake);
}

TEST(JVMLoadTest, FilesThatAreNoMachineSayWhy) {
    IN_A_PROCESS_OF_ITS_OWN();
    EXPECT_EQ(failureOf<NorqIllegalArgumentException>([] { JVM::loadJVM(File(u"/nowhere"), {}); }),
              "Invalid file parameter.");
    EXPECT_EQ(JVM::getInstance(), nullptr);
    const DebugCapture log(TRACE);
    const std::string failure = failureOf<NorqIOException>([] { JVM::loadJVM(File(wide(OTHER_LIBRARY)), {}); });
    EXPECT_TRUE(failure.starts_with("Unable to load JVM: ")) << failure;
    EXPECT_EQ(log.count(u"Unable to load JNI_CreateJavaVM symbol: <"), 1u);
}

TEST(JVMLoadTest, FilesThatAreNoLibrarySayWhy) {
    IN_A_PROCESS_OF_ITS_OWN();
    const DebugCapture log(TRACE);
    const std::string failure = failureOf<NorqIOException>([] { JVM::loadJVM(File(u"/etc/passwd"), {}); });
    EXPECT_TRUE(failure.starts_with("Unable to load JVM.: ")) << failure;
    EXPECT_EQ(log.count(u"Unable to load jvm <"), 1u);
}

jint noEnvironment = JNI_EDETACHED;

TEST(JVMEnvTest, AThreadThatCannotAttachHasNone) {
    IN_A_PROCESS_OF_ITS_OWN();
    JNIInvokeInterface_ functions = {};
    functions.GetEnv = [](JavaVM*, void**, jint) { return noEnvironment; };
    functions.AttachCurrentThread = [](JavaVM*, void**, void*) { return JNI_ERR; };
    JavaVM machine{&functions};
    EXPECT_TRUE(JVM::setJVM(&machine));
    JavaVM other{&functions};
    EXPECT_FALSE(JVM::setJVM(&other));
    EXPECT_EQ(JVM::getInstance()->getJVM(), &machine);
    for (const jint result : {JNI_EDETACHED, JNI_EVERSION}) {
        noEnvironment = result;
        EXPECT_EQ(JVM::getInstance()->getEnv().get(), nullptr);
        NorqJNIException::throwIfPresent();
        JNIExceptionLogger::logDebug(u"test", nullptr);
    }
}

TEST(JniUtilsTest, ANullEnvironmentIsNotTouched) {
    throwException(nullptr, u"text", true);
    throwException(nullptr, "java/lang/Error", u"text", false);
    EXPECT_EQ(getJniString(nullptr, nullptr), u"");
    EXPECT_EQ(newJniStringArray(nullptr, {u"a"}), nullptr);
    setBoolean(nullptr, nullptr, true);
    EXPECT_EQ(PreferenceChangeJniCallback(1, u"p", u"k", u"v").createJniObject(nullptr), nullptr);
    JVM::JNIEnvDetachDeleter()(nullptr);
    const DebugCapture log;
    NorqJNIException::throwIfPresent();
    JNIExceptionLogger::logDebug(u"test", nullptr);
    EXPECT_EQ(log.count(u"JVM is NULL. Returning."), 1u);
    EXPECT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(NorqJNIException(static_cast<jthrowable>(nullptr)).getMessage(), u"");
}

std::string thrownToJava;
int failuresToCome = 0;

TEST(NativeCallTest, WantOfMemoryPassesIntoNoJavaFrame) {
    JNINativeInterface_ functions = {};
    functions.ExceptionCheck = [](JNIEnv*) -> jboolean { return JNI_FALSE; };
    functions.DeleteLocalRef = [](JNIEnv*, jobject) {};
    functions.FindClass = [](JNIEnv*, const char* name) -> jclass {
        if (failuresToCome-- > 0)
            throw std::bad_alloc();
        thrownToJava = name;
        return reinterpret_cast<jclass>(&failuresToCome);
    };
    functions.ThrowNew = [](JNIEnv*, jclass, const char* text) -> jint {
        thrownToJava += std::string(": ") + text;
        return JNI_OK;
    };
    JNIEnv env{&functions};
    failuresToCome = 1;
    Java_com_vantrell_util_prefs_RegistryPreferencesJni_deleteKey(&env, nullptr, 0, nullptr);
    EXPECT_EQ(thrownToJava, "java/lang/RuntimeException: Unknown error encountered.");
}

} // namespace

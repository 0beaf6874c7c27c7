// The native side of norqtest.Loaded: a library beside ours, in a machine that runs already.

#include "machine/Scenario.h"

#include "jni/JVM.h"

#include <jni.h>

using norq_std::JVM;

extern "C" JNIEXPORT jstring JNICALL Java_norqtest_Loaded_state(JNIEnv* env, jclass) {
    const auto jvm = JVM::getInstance();
    JavaVM* mine = nullptr;
    env->GetJavaVM(&mine);
    const char* result = "good";
    if (!jvm || jvm->getJVM() != mine)
        result = "the library does not know its machine";
    else if (jvm->getEnv().get() != env)
        result = "another environment";
    else if (JVM::setJVM(mine))
        result = "a second machine was taken";
    return env->NewStringUTF(result);
}

extern "C" JNIEXPORT jstring JNICALL Java_norqtest_Loaded_faults(JNIEnv* env, jclass, jboolean installFirst,
                                                                 jboolean translated) {
    const std::string result = norqstd_test::faultsOnServedThread(installFirst != JNI_FALSE, translated != JNI_FALSE);
    return env->NewStringUTF(result.c_str());
}

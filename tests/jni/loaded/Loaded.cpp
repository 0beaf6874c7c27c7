// The native side of norqtest.Loaded: a library beside ours, in a machine that runs already.

#include "machine/Scenario.h"

#include "exception/NorqException.h"
#include "jni/JVM.h"
#include "service/SignalHandler.h"
#include "service/SignalMultiHandler.h"

#include <csignal>
#include <cstdlib>
#include <jni.h>
#include <string>

using namespace norq_std;

namespace {

template <class Call>
bool isRefused(const Call& call) {
    try {
        call();
    } catch (const NorqOutOfResourcesException&) {
        return true;
    }
    return false;
}

} // namespace

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

/// Sets what the fault signals do in each way that there is, the default last. "good" if each was settable, or none.
extern "C" JNIEXPORT jstring JNICALL Java_norqtest_Loaded_signals(JNIEnv* env, jclass, jboolean settable) {
    int wrong = 0;
    SignalHandler handler;
    SignalMultiHandler multiHandler;
    const auto function = [](int) { std::_Exit(3); };
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL})
        for (const bool refused : {isRefused([&] { multiHandler.registerSignalHandler(signal, function); }),
                                   isRefused([&] { handler.registerSignalHandler(signal, function); }),
                                   isRefused([&] { handler.ignoreSignal(signal); }),
                                   isRefused([&] { handler.useDefaultSignalHandler(signal); })})
            wrong += refused == (settable != JNI_FALSE) ? 1 : 0;
    return env->NewStringUTF(wrong == 0 ? "good" : (std::to_string(wrong) + " calls of 16 came out wrong").c_str());
}

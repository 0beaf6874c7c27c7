#include "machine/Scenario.h"

#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "jni/JVM.h"
#include "jni/NorqJNIException.h"

#include <cstdio>
#include <cstdlib>
#include <thread>

namespace norqstd_test {

using namespace norq_std;

namespace {

[[noreturn]] void giveUp(const char* what) {
    std::fprintf(stderr, "Probe lacks %s\n", what);
    std::_Exit(2);
}

__attribute__((noipa, no_sanitize("address", "undefined"))) void writeAt(volatile int* address) { *address = 1; }

} // namespace

std::vector<WString> machineOptions(const std::string& jar) {
    return {u"-Xcheck:jni", u"-Xrs", u"-Xmx64m", u"-Djava.class.path=" + UtfUtils::utf8ToUtf16(jar)};
}

Probe::Probe(JNIEnv& environment)
    : env(environment)
    , type(env.FindClass("norqtest/Probe")) {
    if (type == nullptr)
        giveUp("itself");
}

jmethodID Probe::method(const char* name, const char* signature) const {
    jmethodID const found = env.GetStaticMethodID(type, name, signature);
    if (found == nullptr)
        giveUp(name);
    return found;
}

std::string Probe::provokeTraps(const char* name) const {
    auto* const result = static_cast<jstring>(env.CallStaticObjectMethod(type, method(name, "()Ljava/lang/String;")));
    try {
        NorqJNIException::throwIfPresent();
    } catch (const NorqException& e) {
        return UtfUtils::utf16ToUtf8(e.getMessage());
    }
    const char* const text = env.GetStringUTFChars(result, nullptr);
    std::string copy = text;
    env.ReleaseStringUTFChars(result, text);
    env.DeleteLocalRef(result);
    return copy;
}

bool accessFaultIsTranslated() {
    try {
        writeAt(nullptr);
    } catch (const NorqAccessException&) {
        return true;
    }
    return false;
}

std::string faultsOnServedThread(bool installFirst, bool translated) {
    std::string result;
    std::thread([&] {
        if (installFirst)
            NorqException::installHandler();
        const std::shared_ptr<JNIEnv> env = JVM::getInstance()->getEnv();
        if (!installFirst)
            NorqException::installHandler();
        const Probe probe(*env);
        for (int round = 0; round < 2; ++round) {
            if (translated && !accessFaultIsTranslated())
                result = "native fault was not translated";
            else
                result = probe.provokeTraps(round == 0 ? "provokeTraps" : "provokeTrapsOnThreads");
            if (result != "good")
                return;
        }
    }).join();
    return result;
}

} // namespace norqstd_test

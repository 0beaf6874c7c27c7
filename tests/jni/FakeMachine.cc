// A library with the entry point of a virtual machine, which says what it was called with and refuses.

#include <cstdio>
#include <cstring>
#include <jni.h>

extern "C" {
__attribute__((visibility("default"))) char fakeMachineCall[256] = {};

/// What an option `-Xfault` makes it do while it is created.
__attribute__((visibility("default"), noipa, no_sanitize("address", "undefined"))) void fakeMachineFault() {
    static volatile int* volatile nowhere = nullptr;
    *nowhere = 1;
}
}

/// A library that Java calls, and that catches nothing.
extern "C" JNIEXPORT void JNICALL Java_norqtest_Probe_fault(JNIEnv* /*env*/, jclass /*type*/) { fakeMachineFault(); }

extern "C" JNIEXPORT jint JNICALL JNI_CreateJavaVM(JavaVM** /*machine*/, void** /*env*/, void* arguments) {
    const auto& given = *static_cast<const JavaVMInitArgs*>(arguments);
    int length =
        std::snprintf(fakeMachineCall, sizeof fakeMachineCall, "%x %d %s", static_cast<unsigned>(given.version),
                      given.nOptions, given.options == nullptr ? "none" : "some");
    for (jint i = 0; i < given.nOptions; ++i) {
        if (std::strcmp(given.options[i].optionString, "-Xfault") == 0)
            fakeMachineFault();
        length += std::snprintf(fakeMachineCall + length, sizeof fakeMachineCall - static_cast<std::size_t>(length),
                                " %s", given.options[i].optionString);
    }
    return given.ignoreUnrecognized == JNI_TRUE ? JNI_ENOMEM : JNI_OK;
}

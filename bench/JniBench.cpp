// Meeting a virtual machine: the holder beside the bare interface.

#include "base/UtfUtils.h"
#include "file/File.h"
#include "jni/JVM.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <jni.h>
#include <thread>

using namespace norq_std;

namespace {

struct Method {
    jclass type = nullptr;
    jmethodID id = nullptr;
};

/// Starts the machine on a thread of its own, so that the main thread does not belong to it.
Method startMachine() {
    Method bitCount;
    std::thread([&] {
        const auto jvm = JVM::loadJVM(File(UtfUtils::utf8ToUtf16(NORQSTD_BENCH_JVM)), {u"-Xrs", u"-Xmx64m"});
        const auto env = jvm->getEnv();
        bitCount.type = static_cast<jclass>(env->NewGlobalRef(env->FindClass("java/lang/Integer")));
        bitCount.id = env->GetStaticMethodID(bitCount.type, "bitCount", "(I)I");
        jvm->getJVM()->DetachCurrentThread();
    }).join();
    return bitCount;
}

JavaVM& machine() { return *JVM::getInstance()->getJVM(); }

void call(JNIEnv& env, const Method& method) {
    benchmark::DoNotOptimize(env.CallStaticIntMethod(method.type, method.id, 7));
}

void attachOurs(benchmark::State& state, const Method& method) {
    for (auto _ : state)
        call(*JVM::getInstance()->getEnv(), method);
}

void attachBare(benchmark::State& state, const Method& method) {
    for (auto _ : state) {
        void* env = nullptr;
        if (machine().AttachCurrentThread(&env, nullptr) != JNI_OK)
            std::abort();
        call(*static_cast<JNIEnv*>(env), method);
        machine().DetachCurrentThread();
    }
}

void attachedOurs(benchmark::State& state, const Method& method) {
    const auto held = JVM::getInstance()->getEnv();
    for (auto _ : state)
        call(*held, method);
}

void attachedBare(benchmark::State& state, const Method& method) {
    void* env = nullptr;
    if (machine().AttachCurrentThread(&env, nullptr) != JNI_OK)
        std::abort();
    for (auto _ : state)
        call(*static_cast<JNIEnv*>(env), method);
    machine().DetachCurrentThread();
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const Method method = startMachine();
    const auto add = [&](const char* name, void (*body)(benchmark::State&, const Method&)) {
        benchmark::RegisterBenchmark(name, [=](benchmark::State& state) { body(state, method); });
    };
    add("jni/attach_call_detach/ours", attachOurs);
    add("jni/attach_call_detach/bare", attachBare);
    add("jni/call/ours", attachedOurs);
    add("jni/call/bare", attachedBare);
    benchmark::RunSpecifiedBenchmarks();
    std::fflush(nullptr);
    std::_Exit(0); // the machine runs on
}

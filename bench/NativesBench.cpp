// The native methods from Java, in a virtual machine of this process: a preference read, beside the JDK's own
// preferences on files, which it keeps in memory; and changes on their way through the callback queue, beside a queue
// of Java's.

#include <benchmark/benchmark.h>

#ifdef BENCH_JVM

#include "base/UtfUtils.h"
#include "file/File.h"
#include "jni/JVM.h"
#include "jni/JniCallbackQueue.h"
#include "jni/PreferenceChangeJniCallback.h"

#include <cstdlib>
#include <filesystem>
#include <jni.h>
#include <string>
#include <thread>

using namespace norq_std;

namespace {

/// The virtual machine with the Java side loaded, for the main thread, which it belongs to. Preferences of both kinds
/// lie in a folder of its own.
class Machine {
public:
    static Machine& instance() {
        static Machine& machine = *new Machine; // it lives as long as the process
        return machine;
    }

    /// A method of the Java side; what it throws ends the program.
    jlong call(const char* name, jint count) {
        jmethodID const method = env->GetStaticMethodID(side, name, "(I)J");
        const jlong result = method == nullptr ? 0 : env->CallStaticLongMethod(side, method, count);
        endIfFailed();
        return result;
    }

private:
    Machine() {
        std::string name = (std::filesystem::temp_directory_path() / "norqstd-bench-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            std::abort();
        folder = name;
        std::atexit([] { std::filesystem::remove_all(instance().folder); });
        setenv("LD_LIBRARY_PATH", BENCH_LIBRARY_FOLDER, 1); // NOLINT(concurrency-mt-unsafe): as below
        setenv("NORQSTD_REGISTRY_USER", name.c_str(), 1);   // NOLINT(concurrency-mt-unsafe): before the first thread
        const auto option = [](const std::string& text) { return UtfUtils::utf8ToUtf16(text); };
        holder =
            JVM::loadJVM(File(option(BENCH_JVM)), {option("-Djava.class.path=" BENCH_JAR),
                                                   option("-Djava.util.prefs.userRoot=" + name), option("-Xmx256m")});
        env = holder->getEnv();
        side = env->FindClass("NativesBench");
        endIfFailed();
        call("prepare", 0);
    }

    void endIfFailed() {
        if (env->ExceptionCheck() == JNI_FALSE)
            return;
        env->ExceptionDescribe();
        std::abort();
    }

    std::filesystem::path folder;
    std::shared_ptr<JVM> holder;
    std::shared_ptr<JNIEnv> env;
    jclass side = nullptr;
};

/// Many calls of Java's for each call into Java.
void gets(benchmark::State& state, const char* method) {
    constexpr jint Batch = 100;
    Machine& machine = Machine::instance();
    machine.call(method, 20000); // compiled from here on
    while (state.KeepRunningBatch(Batch))
        benchmark::DoNotOptimize(machine.call(method, Batch));
    state.SetItemsProcessed(state.iterations());
}

constexpr jint Changes = 1000;

void nativeChanges(benchmark::State& state) {
    Machine& machine = Machine::instance();
    while (state.KeepRunningBatch(Changes)) {
        std::thread source([] {
            JniCallbackQueue& queue = JniCallbackQueue::getInstance();
            for (jint i = 0; i < Changes; ++i)
                queue.enqueue(std::make_shared<PreferenceChangeJniCallback>(
                    static_cast<int>(0x80000001), u"Bench\\Node", u"key", u"a value of some length"));
        });
        benchmark::DoNotOptimize(machine.call("nativeChanges", Changes));
        source.join();
    }
    state.SetItemsProcessed(state.iterations());
}

void javaChanges(benchmark::State& state) {
    Machine& machine = Machine::instance();
    while (state.KeepRunningBatch(Changes))
        benchmark::DoNotOptimize(machine.call("javaChanges", Changes));
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK_CAPTURE(gets, ours, "nativeGets")->Name("jni_preference_get/ours");
BENCHMARK_CAPTURE(gets, jdk_files, "jdkGets")->Name("jni_preference_get/jdk_files");
BENCHMARK(nativeChanges)->Name("jni_changes_to_java/ours")->UseRealTime();
BENCHMARK(javaChanges)->Name("jni_changes_to_java/java_queue")->UseRealTime();

#endif

BENCHMARK_MAIN();

#include <sys/wait.h> // ahead of Concurrency.h, which frees a name of it

#include "concurrency/Concurrency.h"
#include "concurrency/Event.h"
#include "process/Process.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include <spawn.h>
#include <unistd.h>

using namespace norq_std;

namespace {

constexpr const char* Program = "/bin/true";
constexpr std::size_t LargeParentBytes = 500 << 20;

/// Memory of the parent that is in use, and would have to be copied.
class Ballast {
public:
    explicit Ballast(bool large)
        : bytes(large ? LargeParentBytes : 0)
        , memory(new char[bytes]) {
        std::memset(memory.get(), 1, bytes);
        benchmark::DoNotOptimize(memory.get());
    }

private:
    std::size_t bytes;
    std::unique_ptr<char[]> memory;
};

void ours(benchmark::State& state, bool largeParent) {
    const Ballast ballast(largeParent);
    const File program(u"/bin/true");
    for (auto _ : state) {
        const Process process(program, u"", File());
        Concurrency::waitForSingleObject(*process.getShutdownEvent(), -1);
        if (process.getExitCode() != 0)
            state.SkipWithError("the child failed");
    }
}

template <class Start>
void bare(benchmark::State& state, bool largeParent, const Start& start) {
    const Ballast ballast(largeParent);
    char* const words[] = {const_cast<char*>(Program), nullptr};
    for (auto _ : state) {
        const pid_t child = start(words);
        siginfo_t ended{};
        if (waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED) != 0 || ended.si_status != 0)
            state.SkipWithError("the child failed");
    }
}

pid_t spawn(char* const* words) {
    pid_t child = -1;
    posix_spawn(&child, Program, nullptr, nullptr, words, environ);
    return child;
}

pid_t forkAndExec(char* const* words) {
    const pid_t child = fork();
    if (child == 0) {
        execv(Program, words);
        _exit(127);
    }
    return child;
}

BENCHMARK_CAPTURE(ours, small, false)->Name("process/start_to_exit/ours")->UseRealTime();
BENCHMARK_CAPTURE(bare, small, false, spawn)->Name("process/start_to_exit/posix_spawn")->UseRealTime();
BENCHMARK_CAPTURE(bare, small, false, forkAndExec)->Name("process/start_to_exit/fork_exec")->UseRealTime();
BENCHMARK_CAPTURE(ours, large, true)->Name("process/start_to_exit, parent of 500 MB/ours")->UseRealTime();
BENCHMARK_CAPTURE(bare, large, true, spawn)->Name("process/start_to_exit, parent of 500 MB/posix_spawn")->UseRealTime();
BENCHMARK_CAPTURE(bare, large, true, forkAndExec)
    ->Name("process/start_to_exit, parent of 500 MB/fork_exec")
    ->UseRealTime();

} // namespace

BENCHMARK_MAIN();

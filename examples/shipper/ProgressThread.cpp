#include "ProgressThread.h"

#include "Console.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>

namespace shipper {
namespace {

constexpr std::int32_t PERIOD_MS = 500;

} // namespace

ProgressThread::ProgressThread(const RunState& runState)
    : AbstractNotificationThread(u"progress")
    , state(runState) {}

ProgressThread::~ProgressThread() {
    shutdown();
    join(-1);
}

void ProgressThread::run() {
    const auto begin = std::chrono::steady_clock::now();
    while (!isShutdown()) {
        sleepForPeriod(PERIOD_MS);
        Console::showProgress(describe(state, std::chrono::steady_clock::now() - begin));
    }
    Console::showProgress("");
}

std::string describe(const RunState& state, std::chrono::steady_clock::duration elapsed) {
    const double seconds = std::max(std::chrono::duration<double>(elapsed).count(), 1e-6);
    const std::uint64_t lines = state.lines;
    std::array<char, 200> text{};
    std::snprintf(text.data(), text.size(),
                  "%" PRIu64 " files, %" PRIu64 " lines, %" PRIu64 " bytes in %.2f s, %.0f lines/s",
                  state.filesRead.load(), lines, state.bytes.load(), seconds, static_cast<double>(lines) / seconds);
    return text.data();
}

} // namespace shipper

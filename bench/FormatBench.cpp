// Four arguments into a line of text: the wide formatter by both its names beside the C library and fmt. The narrow
// peers get the wide argument as the narrow text that they can print.
#include "base/StringUtils.h"

#include <benchmark/benchmark.h>
#include <fmt/printf.h>

#include <cstdio>
#include <string>

namespace {

using norq_std::StringUtils;
using norq_std::WString;

const char16_t* const wideName = u"concurrency";
const char* const narrowName = "concurrency";
const char* const reason = "the peer went away";
int count = -20417;
unsigned line = 1184;

void checked(benchmark::State& state) {
    WString text;
    for (auto _ : state) {
        text.clear();
        StringUtils::formatAppend(text, u"Agent %ls lost %d items in line %u: %hs.", wideName, count, line, reason);
        benchmark::DoNotOptimize(text.data());
    }
}

void variadic(benchmark::State& state) {
    WString text;
    for (auto _ : state) {
        text.clear();
        StringUtils::sprintfStringAppend(text, u"Agent %ls lost %d items in line %u: %hs.", wideName, count, line,
                                         reason);
        benchmark::DoNotOptimize(text.data());
    }
}

void cLibrary(benchmark::State& state) {
    std::string text;
    for (auto _ : state) {
        text.clear();
        char buffer[256];
        const int length = std::snprintf(buffer, sizeof buffer, "Agent %s lost %d items in line %u: %s.", narrowName,
                                         count, line, reason);
        text.append(buffer, static_cast<std::size_t>(length));
        benchmark::DoNotOptimize(text.data());
    }
}

void fmtSprintf(benchmark::State& state) {
    for (auto _ : state) {
        std::string text = fmt::sprintf("Agent %s lost %d items in line %u: %s.", narrowName, count, line, reason);
        benchmark::DoNotOptimize(text.data());
    }
}

void realChecked(benchmark::State& state) {
    WString text;
    double number = 1234.5678;
    for (auto _ : state) {
        text.clear();
        benchmark::DoNotOptimize(number);
        StringUtils::formatAppend(text, u"%08.3f|%-12d|%#x", number, count, line);
        benchmark::DoNotOptimize(text.data());
    }
}

void realCLibrary(benchmark::State& state) {
    double number = 1234.5678;
    for (auto _ : state) {
        benchmark::DoNotOptimize(number);
        char buffer[256];
        std::snprintf(buffer, sizeof buffer, "%08.3f|%-12d|%#x", number, count, line);
        benchmark::DoNotOptimize(buffer);
    }
}

BENCHMARK(checked)->Name("format_four_arguments/checked/ours");
BENCHMARK(cLibrary)->Name("format_four_arguments/checked/snprintf");
BENCHMARK(fmtSprintf)->Name("format_four_arguments/checked/fmt_sprintf");
BENCHMARK(variadic)->Name("format_four_arguments/variadic/ours");
BENCHMARK(cLibrary)->Name("format_four_arguments/variadic/snprintf");
BENCHMARK(fmtSprintf)->Name("format_four_arguments/variadic/fmt_sprintf");
BENCHMARK(realChecked)->Name("format_widths_and_fraction/ours");
BENCHMARK(realCLibrary)->Name("format_widths_and_fraction/snprintf");

} // namespace

BENCHMARK_MAIN();

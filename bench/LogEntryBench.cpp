// What a log statement and the trace of a function cost while they are switched off.

#include "base/LogFunctionCall.h"
#include "base/LogMacros.h"
#include "base/StaticLog.h"

#include <benchmark/benchmark.h>
#include <log4cxx/level.h>
#include <log4cxx/logger.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include <atomic>

namespace {

std::atomic<int> threshold{3};

void loadAndBranch(benchmark::State& state) {
    int taken = 0;
    for (auto step : state) {
        if (threshold.load(std::memory_order_relaxed) <= 2) [[unlikely]]
            benchmark::DoNotOptimize(++taken);
        benchmark::ClobberMemory();
    }
}

void ourStatement(benchmark::State& state) {
    int number = 0;
    for (auto step : state) {
        NORQ_LOG(norq_std::TRACE, u"bench", u"number %d", number);
        benchmark::ClobberMemory();
    }
}

void log4cxxStatement(benchmark::State& state) {
    const log4cxx::LoggerPtr logger = log4cxx::Logger::getLogger("bench");
    logger->setLevel(log4cxx::Level::getInfo());
    int number = 0;
    for (auto step : state) {
        LOG4CXX_TRACE(logger, "number " << number);
        benchmark::ClobberMemory();
    }
}

void spdlogStatement(benchmark::State& state) {
    const auto logger = spdlog::null_logger_mt("bench");
    logger->set_level(spdlog::level::info);
    int number = 0;
    for (auto step : state) {
        logger->trace("number {}", number);
        benchmark::ClobberMemory();
    }
    spdlog::drop("bench");
}

void ourFunctionCall(benchmark::State& state) {
    for (auto step : state) {
        NORQ_LOG_FUNCTION_CALL(u"bench");
        benchmark::ClobberMemory();
    }
}

void ourCopyingFunctionCall(benchmark::State& state) {
    for (auto step : state) {
        const norq_std::LogFunctionCall call(u"norq_std::bench", u"NorqStd", u"LogEntryBench.cpp", 1, norq_std::CALL,
                                             true);
        benchmark::ClobberMemory();
    }
}

BENCHMARK(ourStatement)->Name("disabled_statement/ours");
BENCHMARK(loadAndBranch)->Name("disabled_statement/relaxed_load");
BENCHMARK(log4cxxStatement)->Name("disabled_statement/log4cxx");
BENCHMARK(spdlogStatement)->Name("disabled_statement/spdlog");
BENCHMARK(ourFunctionCall)->Name("disabled_function_call/ours");
BENCHMARK(loadAndBranch)->Name("disabled_function_call/relaxed_load");
BENCHMARK(ourCopyingFunctionCall)->Name("disabled_function_call/with_copies");

} // namespace

BENCHMARK_MAIN();

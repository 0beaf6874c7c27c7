// One line through a logger, its filter and its layout into memory, beside the formatting of the same text alone.

#include "base/StringUtils.h"
#include "log/DebugFileFilter.h"
#include "log/ILogAppender.h"
#include "log/LogEvent.h"
#include "log/LoggerBase.h"
#include "log/NorqLogLayout.h"

#include <benchmark/benchmark.h>
#include <log4cxx/appenderskeleton.h>
#include <log4cxx/logger.h>
#include <log4cxx/patternlayout.h>
#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

#include <cstdio>
#include <sstream>

using namespace norq_std;

namespace {

constexpr std::uint64_t THREAD_ID = 0x1f4;
constexpr std::size_t KEPT_UNITS = 1 << 20; // what a memory sink holds before it begins anew

/// Writes lines one behind the other into memory.
class MemoryAppender : public ILogAppender {
public:
    explicit MemoryAppender(bool debug)
        : ILogAppender(std::make_shared<DebugFileFilter>(), std::make_shared<NorqLogLayout>(debug)) {
        memory.reserve(KEPT_UNITS);
    }
    MemoryAppender* newInstance(const Properties&) const override { return new MemoryAppender(false); }

protected:
    void localAppend(const LogEvent&) override {}
    void localAppend(const WString& text) override {
        if (memory.size() + text.size() > KEPT_UNITS)
            memory.clear();
        memory += text;
    }

private:
    WString memory;
};

} // namespace

namespace peer {

using namespace log4cxx; // its macros expect this

/// The same for log4cxx.
class MemoryAppender : public AppenderSkeleton {
public:
    DECLARE_LOG4CXX_OBJECT(MemoryAppender)
    BEGIN_LOG4CXX_CAST_MAP()
    LOG4CXX_CAST_ENTRY(MemoryAppender)
    LOG4CXX_CAST_ENTRY_CHAIN(AppenderSkeleton)
    END_LOG4CXX_CAST_MAP()

    void close() override {}
    bool requiresLayout() const override { return true; }

protected:
    void append(const spi::LoggingEventPtr& event, helpers::Pool& pool) override {
        if (memory.size() > KEPT_UNITS)
            memory.clear();
        getLayout()->format(memory, event, pool);
    }

private:
    LogString memory;
};

IMPLEMENT_LOG4CXX_OBJECT(MemoryAppender)

} // namespace peer

namespace {

const WString FUNCTION = u"norq_std::Worker::run";
const WString MODULE = u"NorqStd";
const WString FILE_NAME = u"Worker.cpp";
const WString MESSAGE = u"Queue of service <collector> drained after 1204 batches in 88 ms.";
const std::string NARROW_MESSAGE = "Queue of service <collector> drained after 1204 batches in 88 ms.";

void lineOurs(benchmark::State& state, bool debug) {
    LoggerBase logger;
    logger.addAppender(std::make_shared<MemoryAppender>(debug));
    for (auto _ : state)
        logger.log(INFO, FUNCTION, MESSAGE, MODULE, {}, THREAD_ID, FILE_NAME, 88);
}

void plainFormatted(benchmark::State& state) {
    for (auto _ : state) {
        WString line;
        StringUtils::formatAppend(line, u"%d-%2.2d-%2.2d %2.2d:%2.2d:%2.2d:%3.3d %ls %ls[%u] %ls\n", 2024, 3, 7, 9, 5,
                                  2, 41, u"INFO", FILE_NAME, 88u, MESSAGE);
        benchmark::DoNotOptimize(line);
    }
}

void plainSnprintf(benchmark::State& state) {
    char line[512];
    for (auto _ : state) {
        std::snprintf(line, sizeof line, "%d-%2.2d-%2.2d %2.2d:%2.2d:%2.2d:%3.3d %s %s[%u] %s\n", 2024, 3, 7, 9, 5, 2,
                      41, "INFO", "Worker.cpp", 88u, NARROW_MESSAGE.c_str());
        benchmark::DoNotOptimize(line);
    }
}

void debugFormatted(benchmark::State& state) {
    for (auto _ : state) {
        WString line;
        StringUtils::formatAppend(line, u"%d-%2.2d-%2.2d %2.2d:%2.2d:%2.2d:%3.3d %ls [0x%llx] %ls[%u] %ls: %ls\n", 2024,
                                  3, 7, 9, 5, 2, 41, u"INFO", THREAD_ID, FILE_NAME, 88u, FUNCTION, MESSAGE);
        benchmark::DoNotOptimize(line);
    }
}

void debugSnprintf(benchmark::State& state) {
    char line[512];
    for (auto _ : state) {
        std::snprintf(line, sizeof line, "%d-%2.2d-%2.2d %2.2d:%2.2d:%2.2d:%3.3d %s [0x%lx] %s[%u] %s: %s\n", 2024, 3,
                      7, 9, 5, 2, 41, "INFO", static_cast<unsigned long>(THREAD_ID), "Worker.cpp", 88u,
                      "norq_std::Worker::run", NARROW_MESSAGE.c_str());
        benchmark::DoNotOptimize(line);
    }
}

// A whole statement: the message with its four arguments, then the line. Beside it the message alone.

void statementOurs(benchmark::State& state) {
    LoggerBase logger;
    logger.addAppender(std::make_shared<MemoryAppender>(false));
    const WString service = u"collector";
    int batches = 0;
    for (auto _ : state) {
        WString message;
        StringUtils::formatAppend(message, u"Queue of service <%ls> drained after %d batches in %u ms (%s).", service,
                                  ++batches, 88u, u"idle");
        logger.log(INFO, FUNCTION, message, MODULE, {}, THREAD_ID, FILE_NAME, 88);
    }
}

void statementMessageAlone(benchmark::State& state) {
    const WString service = u"collector";
    int batches = 0;
    for (auto _ : state) {
        WString message;
        StringUtils::formatAppend(message, u"Queue of service <%ls> drained after %d batches in %u ms (%s).", service,
                                  ++batches, 88u, u"idle");
        benchmark::DoNotOptimize(message);
    }
}

void statementSnprintfAlone(benchmark::State& state) {
    char message[512];
    int batches = 0;
    for (auto _ : state) {
        std::snprintf(message, sizeof message, "Queue of service <%s> drained after %d batches in %u ms (%s).",
                      "collector", ++batches, 88u, "idle");
        benchmark::DoNotOptimize(message);
    }
}

std::shared_ptr<spdlog::logger> makeSpdlog(std::ostringstream& memory) {
    auto logger = std::make_shared<spdlog::logger>("NorqStd", std::make_shared<spdlog::sinks::ostream_sink_mt>(memory));
    logger->set_pattern("%Y-%m-%d %H:%M:%S:%e %l %s[%#] %v");
    return logger;
}

void startAnew(std::ostringstream& memory) {
    if (memory.tellp() > static_cast<std::streamoff>(KEPT_UNITS))
        memory.seekp(0);
}

void lineSpdlog(benchmark::State& state) {
    std::ostringstream memory;
    const auto logger = makeSpdlog(memory);
    for (auto _ : state) {
        logger->log(spdlog::source_loc{"Worker.cpp", 88, "norq_std::Worker::run"}, spdlog::level::info, NARROW_MESSAGE);
        startAnew(memory);
    }
}

void statementSpdlog(benchmark::State& state) {
    std::ostringstream memory;
    const auto logger = makeSpdlog(memory);
    int batches = 0;
    for (auto _ : state) {
        logger->log(spdlog::source_loc{"Worker.cpp", 88, "norq_std::Worker::run"}, spdlog::level::info,
                    "Queue of service <{}> drained after {} batches in {} ms ({}).", "collector", ++batches, 88u,
                    "idle");
        startAnew(memory);
    }
}

log4cxx::LoggerPtr makeLog4cxx() {
    const auto logger = log4cxx::Logger::getLogger("bench");
    if (logger->getAllAppenders().empty()) {
        const auto appender = std::make_shared<peer::MemoryAppender>();
        appender->setLayout(std::make_shared<log4cxx::PatternLayout>("%d{yyyy-MM-dd HH:mm:ss:SSS} %p %f[%L] %m%n"));
        logger->setAdditivity(false);
        logger->setLevel(log4cxx::Level::getAll());
        logger->addAppender(appender);
    }
    return logger;
}

void lineLog4cxx(benchmark::State& state) {
    const auto logger = makeLog4cxx();
    for (auto _ : state)
        LOG4CXX_INFO(logger, NARROW_MESSAGE);
}

void statementLog4cxx(benchmark::State& state) {
    const auto logger = makeLog4cxx();
    int batches = 0;
    for (auto _ : state)
        LOG4CXX_INFO(logger, "Queue of service <"
                                 << "collector"
                                 << "> drained after " << ++batches << " batches in " << 88u << " ms ("
                                 << "idle"
                                 << ").");
}

BENCHMARK_CAPTURE(lineOurs, plain, false)->Name("log_line/plain/ours");
BENCHMARK(plainFormatted)->Name("log_line/plain/formatting alone");
BENCHMARK(plainSnprintf)->Name("log_line/plain/snprintf alone");
BENCHMARK(lineSpdlog)->Name("log_line/plain/spdlog");
BENCHMARK(lineLog4cxx)->Name("log_line/plain/log4cxx");
BENCHMARK_CAPTURE(lineOurs, debug, true)->Name("log_line/debug/ours");
BENCHMARK(debugFormatted)->Name("log_line/debug/formatting alone");
BENCHMARK(debugSnprintf)->Name("log_line/debug/snprintf alone");
BENCHMARK(statementOurs)->Name("log_statement/ours");
BENCHMARK(statementMessageAlone)->Name("log_statement/message alone");
BENCHMARK(statementSnprintfAlone)->Name("log_statement/snprintf of the message alone");
BENCHMARK(statementSpdlog)->Name("log_statement/spdlog");
BENCHMARK(statementLog4cxx)->Name("log_statement/log4cxx");

} // namespace

BENCHMARK_MAIN();

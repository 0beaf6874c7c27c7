// A line of 100 bytes from a statement to a file, in the kernel's hands before the statement returns, with rolling:
// from one thread and from eight. Beside it, loggers that roll and flush each line, and what such a line costs at
// least.
//
// With NORQSTD_LATENCY=FILE the program writes how long single calls took, as "implementation,nanoseconds,calls", while
// files of 1 MiB roll (and ours are compressed), in place of the benchmarks; scripts/latency-picture draws that.

#include "base/AutoRegisterClass.h"
#include "base/Functor.h"
#include "base/LogMacros.h"
#include "base/StringUtils.h"
#include "log/CompressedRollingFileAppender.h"
#include "log/LogFileFilter.h"
#include "log/NorqLogLayout.h"
#include "log/RollingFileAppender.h"
#include "system/Paths.h"

#include <Poco/AutoPtr.h>
#include <Poco/FileChannel.h>
#include <Poco/FormattingChannel.h>
#include <Poco/Message.h>
#include <Poco/PatternFormatter.h>
#include <benchmark/benchmark.h>
#include <glog/logging.h>
#include <log4cxx/logger.h>
#include <log4cxx/propertyconfigurator.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace fs = std::filesystem;

namespace {

constexpr std::size_t MIB = 1 << 20;
constexpr int FILES = 4;
constexpr char FORMAT[] = "Request %d of client <%s> was answered in %d microseconds."; // 100 bytes with the prefix
constexpr char CLIENT[] = "host-17.example";

using Statement = std::function<void()>;

const fs::path& folder() {
    static const fs::path& path = *new fs::path([] {
        std::string name = (fs::temp_directory_path() / "norqstd-bench-XXXXXX").string();
        return fs::path(mkdtemp(name.data()));
    }());
    return path;
}

// ---- each makes a statement that writes one line

/// Stands in the configuration, which must name an appender, until the log runs.
class Bootstrap : public norq_std::ILogAppender, public norq_std::AutoRegisterClass<Bootstrap> {
public:
    Bootstrap()
        : ILogAppender(nullptr, nullptr) {}
    norq_std::WString getClassName() const override { return u"bench.Bootstrap"; }
    Bootstrap* newInstance(const Properties&) const override { return configured = new Bootstrap; }

    static inline Bootstrap* configured = nullptr;

protected:
    void localAppend(const norq_std::LogEvent&) override {}
    void localAppend(const norq_std::WString&) override {}
};

/// Starts our log, which has threads of its own. The rows of the others run in the same process, as in a service: a
/// write costs a little more where there are threads.
void startLog() {
    using namespace norq_std;
    const fs::path config = folder() / "config"; // apart: whoever writes beside it wakes its watcher
    fs::create_directory(config);
    std::ofstream(config / "bench.cfg") << "[Debug Log]\nThreshold=INFO\n[Log Appenders]\n"
                                           "appender.none.class=bench.Bootstrap\n"
                                           "appender.none.filter=norq_std.LogFileFilter\n";
    Bootstrap::registerClass();
    Paths::getInstance()->setPath(u"System Config Path Key", config.u16string());
    StaticLog::initInstance(u"bench");
    StaticLog::removeAppender(std::shared_ptr<ILogAppender>(Bootstrap::configured, null_deleter()));
}

std::shared_ptr<norq_std::ILogAppender> ring; // ours

/// A ring with the properties of a configuration, added by hand, since the sizes change.
template <class Ring>
Statement ours(std::size_t size) {
    using namespace norq_std;
    if (ring)
        StaticLog::removeAppender(ring);
    ring.reset(Ring().newInstance({{u"path", (folder() / ("ours" + std::to_string(size) + ".log")).u16string()},
                                   {u"size", norq_std::StringUtils::format(u"%u", size)},
                                   {u"files", u"4"}}));
    ring->setFilter(std::make_shared<LogFileFilter>());
    ring->setLayout(std::make_shared<NorqLogLayout>());
    StaticLog::addAppender(ring);
    return [] {
        NORQ_LOG(INFO, u"bench::ours", u"Request %d of client <%ls> was answered in %d microseconds.", 4711,
                 u"host-17.example", 815);
    };
}

Statement spdlogRotating(std::size_t size) {
    const auto logger = std::make_shared<spdlog::logger>(
        "bench",
        std::make_shared<spdlog::sinks::rotating_file_sink_mt>((folder() / "spdlog.log").string(), size, FILES));
    logger->set_pattern("%Y-%m-%d %H:%M:%S:%e %l LogFileBench.cpp[88] %v");
    logger->flush_on(spdlog::level::trace);
    return [logger] { logger->info("Request {} of client <{}> was answered in {} microseconds.", 4711, CLIENT, 815); };
}

Statement log4cxxRolling(std::size_t size) {
    const fs::path file = folder() / "log4cxx.properties";
    std::ofstream(file)
        << "log4j.logger.bench=INFO, R\nlog4j.appender.R=org.apache.log4j.RollingFileAppender\n"
           "log4j.appender.R.File="
        << (folder() / "log4cxx.log").string() << "\nlog4j.appender.R.MaxFileSize=" << size
        << "\nlog4j.appender.R.MaxBackupIndex=" << FILES
        << "\nlog4j.appender.R.ImmediateFlush=true\nlog4j.appender.R.layout=org.apache.log4j.PatternLayout\n"
           "log4j.appender.R.layout.ConversionPattern=%d{yyyy-MM-dd HH:mm:ss:SSS} %p %f[%L] %m%n\n";
    log4cxx::PropertyConfigurator::configure(log4cxx::File(file.string()));
    const auto logger = log4cxx::Logger::getLogger("bench");
    return [logger] {
        LOG4CXX_INFO(logger,
                     "Request " << 4711 << " of client <" << CLIENT << "> was answered in " << 815 << " microseconds.");
    };
}

Statement glogUnbuffered(std::size_t size) {
    static std::once_flag started;
    std::call_once(started, [] {
        FLAGS_log_dir = folder().string();
        FLAGS_stderrthreshold = google::GLOG_FATAL;
        FLAGS_logbuflevel = -1;
        google::InitGoogleLogging("bench");
    });
    FLAGS_max_log_size = static_cast<google::uint32>(size / MIB);
    return [] {
        LOG(INFO) << "Request " << 4711 << " of client <" << CLIENT << "> was answered in " << 815 << " microseconds.";
    };
}

Statement pocoFileChannel(std::size_t size) {
    Poco::AutoPtr<Poco::FileChannel> file(new Poco::FileChannel((folder() / "poco.log").string()));
    file->setProperty("rotation", std::to_string(size));
    file->setProperty("purgeCount", std::to_string(FILES));
    Poco::AutoPtr<Poco::PatternFormatter> pattern(
        new Poco::PatternFormatter("%Y-%m-%d %H:%M:%S:%i %p LogFileBench.cpp[88] %t"));
    pattern->setProperty("times", "local");
    Poco::AutoPtr<Poco::FormattingChannel> channel(new Poco::FormattingChannel(pattern, file));
    return [channel]() mutable {
        char text[256];
        std::snprintf(text, sizeof text, FORMAT, 4711, CLIENT, 815);
        channel->log(Poco::Message("bench", text, Poco::Message::PRIO_INFORMATION));
    };
}

/// A file that begins anew when it is full.
struct BareFile {
    explicit BareFile(std::size_t limit)
        : descriptor(open((folder() / "bare.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600))
        , size(limit) {}
    ~BareFile() { close(descriptor); }

    void append(const char* text, std::size_t length) {
        if (written.fetch_add(length) > size && ftruncate(descriptor, 0) == 0)
            written = 0;
        benchmark::DoNotOptimize(write(descriptor, text, length));
    }

    const int descriptor;
    const std::size_t size;
    std::atomic<std::size_t> written{0};
};

Statement bareWrite(std::size_t size) {
    const auto file = std::make_shared<BareFile>(size);
    const std::string line =
        "2026-01-31 09:05:07:012 INFO LogFileBench.cpp[88] Request 4711 of client <host-17.example> was an\n";
    return [file, line] { file->append(line.data(), line.size()); };
}

Statement snprintfMutexWrite(std::size_t size) {
    const auto file = std::make_shared<BareFile>(size);
    const auto mutex = std::make_shared<std::mutex>();
    return [file, mutex] {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        std::tm local{};
        localtime_r(&now.tv_sec, &local);
        char text[256];
        int length = std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d:%03ld INFO LogFileBench.cpp[88] ",
                                   local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
                                   local.tm_sec, now.tv_nsec / 1'000'000);
        length +=
            std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length), FORMAT, 4711, CLIENT, 815);
        text[length++] = '\n';
        const std::lock_guard guard(*mutex);
        file->append(text, static_cast<std::size_t>(length));
    };
}

struct Implementation {
    const char* name;
    Statement (*make)(std::size_t size);
    bool rolls;
};

constexpr Implementation IMPLEMENTATIONS[] = {
    {"ours", ours<norq_std::RollingFileAppender>, true},
    {"ours_compressed", ours<norq_std::CompressedRollingFileAppender>, true},
    {"spdlog", spdlogRotating, true},
    {"log4cxx", log4cxxRolling, true},
    {"glog", glogUnbuffered, true},
    {"poco", pocoFileChannel, true},
    {"snprintf_mutex_write", snprintfMutexWrite, false},
    {"write", bareWrite, false},
};

/// The statement of the row that runs now: rows run one after the other, each with a logger made for it.
Statement current;

void registerRows(std::size_t size, int threads) {
    for (const Implementation& implementation : IMPLEMENTATIONS) {
        if (size == MIB && implementation.make == &glogUnbuffered)
            continue; // names a file by the second, and so cannot roll more often
        const std::string name = "log_file/" + std::to_string(size / MIB) + "MiB/" + implementation.name;
        benchmark::RegisterBenchmark(name.c_str(),
                                     [&implementation, size](benchmark::State& state) {
                                         if (state.thread_index() == 0)
                                             current = implementation.make(size);
                                         for (auto _ : state) // all threads begin together
                                             current();
                                         if (state.thread_index() == 0)
                                             current = nullptr;
                                     })
            ->Threads(threads)
            ->UseRealTime();
    }
}

/// How many calls took how long; a bucket is a tenth wide.
using Histogram = std::map<std::int64_t, std::size_t>;

Histogram measureCalls(const Statement& statement) {
    constexpr int CALLS = 300'000;
    Histogram histogram;
    for (int i = 0; i < CALLS; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        statement();
        const auto took = std::chrono::steady_clock::now() - begin;
        std::int64_t bucket = 1;
        while (bucket * 11 / 10 + 1 < took.count())
            bucket = bucket * 11 / 10 + 1;
        ++histogram[bucket];
    }
    return histogram;
}

void writeLatencies(const char* path) {
    std::ofstream out(path);
    out << "implementation,nanoseconds,calls\n";
    for (const Implementation& implementation : IMPLEMENTATIONS)
        if (implementation.rolls && implementation.make != &glogUnbuffered)
            for (const auto& [nanoseconds, calls] : measureCalls(implementation.make(MIB)))
                out << implementation.name << ',' << nanoseconds << ',' << calls << '\n';
}

} // namespace

int main(int argc, char** argv) {
    startLog();
    if (const char* const path = std::getenv("NORQSTD_LATENCY")) {
        writeLatencies(path);
    } else {
        for (const std::size_t size : {MIB, 100 * MIB})
            for (const int threads : {1, 8})
                registerRows(size, threads);
        benchmark::Initialize(&argc, argv);
        benchmark::RunSpecifiedBenchmarks();
    }
    fs::remove_all(folder());
    std::_Exit(EXIT_SUCCESS); // loggers with threads of their own are not waited for
}

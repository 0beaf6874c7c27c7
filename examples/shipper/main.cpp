// A log shipper in small: the shape of a program on this library. Readers fill a bounded queue, workers empty it into
// log pipelines, each of which ends in an appender of the program's own.

#include "Console.h"
#include "FileReader.h"
#include "LineDecoder.h"
#include "MatchFilter.h"
#include "Options.h"
#include "Output.h"
#include "ProgressThread.h"
#include "ShipperService.h"
#include "StopSignal.h"
#include "Worker.h"

#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "internal/ConvertUTF.h"
#include "log/LogFileFilter.h"
#include "thread/Thread.h"

#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace shipper {
namespace {

enum ExitStatus : int {
    ALL_SHIPPED = 0,
    FILE_NOT_READ = 1,
    WRONG_USAGE = 2,
    OUTPUT_FAILED = 3,
    INTERNAL_FAILURE = 4,
    SIGNAL_BASE = 128,
};

constexpr std::int32_t QUEUED_BATCHES = 64;
constexpr std::size_t READERS_AT_ONCE = 32;
constexpr std::uint32_t LONGEST_TEXT = 16 * 1024 * 1024; // an escaped piece of a line has room in it

using Threads = std::vector<std::unique_ptr<norq_std::Thread>>;

void startThread(Threads& threads, const std::shared_ptr<norq_std::Runnable>& body, const norq_std::WString& name) {
    threads.push_back(std::make_unique<norq_std::Thread>(body, name));
    threads.back()->start();
}

/// Runs a reader for each file, not too many at a time, until the last has ended.
void readFiles(const std::vector<std::string>& files, BatchQueue& queue, RunState& state) {
    Threads readers;
    for (const std::string& file : files) {
        if (readers.size() >= READERS_AT_ONCE)
            readers[readers.size() - READERS_AT_ONCE]->join(-1);
        startThread(readers, std::make_shared<FileReader>(file, queue, state), u"reader");
    }
    for (const auto& reader : readers)
        reader->join(-1);
}

std::shared_ptr<norq_std::ILogEventFilter> makeFilter(const Options& options) {
    if (options.match.empty())
        return std::make_shared<norq_std::LogFileFilter>();
    return std::make_shared<MatchFilter>(decode(options.match.c_str(), options.match.size()).text);
}

ExitStatus conclude(const Options& options, const RunState& state, int outputFailure) {
    if (outputFailure != 0) {
        SHIPPER_SAY(norq_std::ERROR, u"shipper::conclude",
                    "cannot write " + (options.output.empty() ? "standard output" : options.output) + ": " +
                        std::generic_category().message(outputFailure));
        return OUTPUT_FAILED;
    }
    if (state.broken)
        return INTERNAL_FAILURE;
    return state.filesFailed > 0 ? FILE_NOT_READ : ALL_SHIPPED;
}

void summarise(const Options& options, const RunState& state, std::chrono::steady_clock::duration elapsed) {
    std::string summary = describe(state, elapsed);
    if (state.filesFailed > 0)
        summary += "; " + std::to_string(state.filesFailed) + " files not read";
    if (state.otherEncoding > 0)
        summary += "; " + std::to_string(state.otherEncoding) + " lines not UTF-8, read as windows-1252";
    NORQ_LOG(norq_std::INFO, u"shipper::summarise", u"%hs", summary.c_str());
    if (!options.quiet)
        Console::say(summary);
}

int ship(const Options& options, const std::vector<std::string>& files) {
    const auto begin = std::chrono::steady_clock::now();
    norq_std_internal::ConvertUTF::setMaxStringSize(LONGEST_TEXT);
    std::signal(SIGPIPE, SIG_IGN); // a reader that goes away is an error of the output

    RunState state;
    const StopSignal stopSignal(state.stop);
    BatchQueue queue(QUEUED_BATCHES);

    Output output(options.output, Output::Mode::Replace, state.stop);
    const auto filter = makeFilter(options);

    std::unique_ptr<ProgressThread> progress;
    if (!options.quiet && Console::isTerminal()) {
        progress = std::make_unique<ProgressThread>(state);
        progress->start();
    }

    Threads workers;
    const unsigned count = options.workers == 0 ? defaultWorkers() : options.workers;
    for (unsigned i = 0; i < count; ++i)
        startThread(workers, std::make_shared<Worker>(queue, filter, output, state), u"worker");
    readFiles(files, queue, state);
    state.readersDone.signal();
    for (const auto& worker : workers)
        worker->join(-1);
    progress.reset();

    const ExitStatus status = conclude(options, state, output.failure());
    summarise(options, state, std::chrono::steady_clock::now() - begin);
    return status == ALL_SHIPPED && stopSignal.received() != 0 ? SIGNAL_BASE + stopSignal.received() : status;
}

/// Until it is told to stop, which is the usual end of an agent.
int follow(const Options& options) {
    const auto begin = std::chrono::steady_clock::now();
    norq_std_internal::ConvertUTF::setMaxStringSize(LONGEST_TEXT);
    std::signal(SIGPIPE, SIG_IGN);

    ShipperService service(options);
    service.start();
    const ExitStatus status = conclude(options, service.getState(), service.outputFailure());
    summarise(options, service.getState(), std::chrono::steady_clock::now() - begin);
    return status;
}

int run(int argc, char** argv) {
    Options options;
    try {
        options = parseCommandLine(argc, argv);
    } catch (const std::invalid_argument& wrong) {
        Console::say(std::string(wrong.what()) + "; see shipper --help");
        return WRONG_USAGE;
    }
    if (options.help) {
        std::fputs(USAGE, stdout);
        return ALL_SHIPPED;
    }

    std::vector<std::string> files = options.files;
    if (files.empty() && options.config.empty()) {
        std::vector<std::string> skipped;
        files = findDefaultFiles(skipped);
        for (const std::string& file : skipped)
            Console::say("left out " + file + ", which is compressed");
        if (files.empty()) {
            Console::say("there is no history of the package manager here; name the files to ship");
            return WRONG_USAGE;
        }
    }
    for (const std::string& file : files) {
        std::error_code absent;
        if (std::filesystem::equivalent(file, options.output, absent)) {
            Console::say("the output " + options.output + " is one of the files to read");
            return WRONG_USAGE;
        }
    }
    options.files = files;
    if (options.follow || !options.config.empty()) {
        try {
            return follow(options);
        } catch (const std::invalid_argument& wrong) {
            SHIPPER_SAY(norq_std::ERROR, u"shipper::run", wrong.what());
            return WRONG_USAGE;
        }
    }
    return ship(options, files);
}

} // namespace
} // namespace shipper

int main(int argc, char** argv) {
    try {
        return shipper::run(argc, argv);
    } catch (const norq_std::NorqException& failure) {
        SHIPPER_SAY(norq_std::FATAL, u"main", norq_std::UtfUtils::utf16ToUtf8(failure.getMessage()));
    } catch (const std::exception& failure) {
        SHIPPER_SAY(norq_std::FATAL, u"main", failure.what());
    }
    return shipper::INTERNAL_FAILURE;
}

#include "Options.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <functional>
#include <map>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <thread>

namespace shipper {

const char* const USAGE = "Usage: shipper [options] [file...]\n"
                          "\n"
                          "Reads log files and writes one event in JSON for each line. Without files it reads the\n"
                          "package manager's history, /var/log/dpkg.log* and /var/log/apt/history.log*.\n"
                          "\n"
                          "  --config FILE    take files, workers, match and output from FILE, and follow it and the\n"
                          "                   files live; what the command line says goes before\n"
                          "  --follow         go on with what is written to the files, until interrupted\n"
                          "  --match TEXT     ship only lines that contain TEXT (also --filter)\n"
                          "  --output FILE    write to FILE and not to standard output\n"
                          "  --workers N      threads that make events, 1 to 64 (default: one for each processor)\n"
                          "  --quiet          no progress and no summary\n"
                          "  -F               run in the foreground, though a service manager started this\n"
                          "  --stop-event E   end when another process signals the event E\n"
                          "  --help           this text\n"
                          "\n"
                          "Interrupted, it ships what it has read and ends with the summary; a second interrupt\n"
                          "ends it at once. Exit status: 0 all shipped, 1 a file could not be read, 2 wrong usage,\n"
                          "3 the output could not be written, 4 internal failure, 128 + N ended by signal N.\n"
                          "\n"
                          "With --config or --follow it is an agent, which appends to its output: by hand, or as a\n"
                          "service of systemd. SIGTERM, an interrupt and the stop event end it with 0, once all that\n"
                          "was read is shipped; Ctrl-\\ then ends it at once.\n";

namespace {

constexpr unsigned MAX_WORKERS = 64;

} // namespace

unsigned parseWorkers(const std::string& text) {
    unsigned workers = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, workers);
    if (parsed.ec != std::errc() || parsed.ptr != end || workers < 1 || workers > MAX_WORKERS)
        throw std::invalid_argument("workers takes a number from 1 to 64, not '" + text + "'");
    return workers;
}

unsigned defaultWorkers() { return std::clamp(std::thread::hardware_concurrency(), 1u, MAX_WORKERS); }

Options parseCommandLine(int argc, const char* const* argv) {
    Options options;
    const auto takeMatch = [&](const std::string& text) { options.match = text; };
    const std::map<std::string_view, std::function<void(const std::string&)>> valued = {
        {"--config", [&](const std::string& text) { options.config = text; }},
        {"--match", takeMatch},
        {"--filter", takeMatch},
        {"--stop-event", [&](const std::string& text) { options.stopEvent = text; }},
        {"--output", [&](const std::string& text) { options.output = text; }},
        {"--workers", [&](const std::string& text) { options.workers = parseWorkers(text); }},
    };
    const std::map<std::string_view, bool*> switches = {{"-F", &options.foreground},
                                                        {"--follow", &options.follow},
                                                        {"--quiet", &options.quiet},
                                                        {"--help", &options.help}};

    bool onlyFiles = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (onlyFiles || !argument.starts_with("-")) {
            options.files.emplace_back(argument);
            continue;
        }
        const auto equals = argument.find('=');
        const std::string name(argument.substr(0, equals));
        if (argument == "--") {
            onlyFiles = true;
        } else if (const auto found = switches.find(argument); found != switches.end()) {
            *found->second = true;
        } else if (const auto taker = valued.find(name); taker == valued.end()) {
            throw std::invalid_argument("unknown option '" + name + "'");
        } else if (equals != std::string_view::npos) {
            taker->second(std::string(argument.substr(equals + 1)));
        } else if (++i < argc) {
            taker->second(argv[i]);
        } else {
            throw std::invalid_argument("option '" + name + "' needs a value");
        }
    }
    return options;
}

std::vector<std::string> findDefaultFiles(std::vector<std::string>& skipped) {
    namespace fs = std::filesystem;
    std::vector<std::string> files;
    const std::pair<fs::path, std::string_view> histories[] = {{"/var/log", "dpkg.log"},
                                                               {"/var/log/apt", "history.log"}};
    for (const auto& [folder, prefix] : histories) {
        std::error_code absent;
        for (const auto& entry : fs::directory_iterator(folder, absent)) {
            if (!entry.path().filename().string().starts_with(prefix) || !entry.is_regular_file(absent))
                continue;
            (entry.path().extension() == ".gz" ? skipped : files).push_back(entry.path().string());
        }
    }
    std::sort(files.begin(), files.end());
    std::sort(skipped.begin(), skipped.end());
    return files;
}

} // namespace shipper

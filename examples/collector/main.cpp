// A collector: a service that stores the events that agents send it, each exactly once.

#include "Say.h"
#include "Server.h"
#include "Store.h"

#include "base/EncodingUtils.h"
#include "base/StaticLog.h"
#include "base/UtfUtils.h"
#include "concurrency/Concurrency.h"
#include "config/NorqConfig.h"
#include "exception/NorqException.h"
#include "internal/ConvertUTF.h"
#include "process/StopRequest.h"
#include "service/AbstractService.h"
#include "system/Paths.h"
#include "thread/Thread.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace collector {
namespace {

namespace fs = std::filesystem;
using norq_std::UtfUtils;
using norq_std::WString;

constexpr const char* USAGE = "Usage: collector --config FILE [-F]\n"
                              "       collector --dump FOLDER\n"
                              "\n"
                              "Stores the events that shippers send it, each exactly once.\n"
                              "\n"
                              "  --config FILE    the settings, see docs/shipping.md\n"
                              "  -F               run in the foreground, until SIGTERM, SIGINT or its stop event;\n"
                              "                   without it, the service manager runs the program\n"
                              "  --dump FOLDER    print the events that are stored in FOLDER, a JSON object a line,\n"
                              "                   the events of each agent in their order\n"
                              "\n"
                              "Exit status: 0 stopped as asked, 2 wrong usage, 4 failure.\n";

constexpr std::uint32_t LONGEST_TEXT = 32 * 1024 * 1024;

enum ExitStatus : int { STOPPED = 0, WRONG_USAGE = 2, FAILED = 4 };

struct Settings {
    wire::Endpoint listen;
    std::string folder;
    WString stopEvent; ///< none where empty
};

Settings readSettings(const std::string& file) {
    norq_std::NorqConfig config(UtfUtils::utf8ToUtf16(file));
    config.load();
    // The file is read as windows-1252, where every byte has a character.
    const auto value = [&](const WString& key) {
        const std::string bytes = norq_std::EncodingUtils::convertUnicodeToMbcs(config.getValue(key, u"collector"), 0);
        const std::size_t begin = bytes.find_first_not_of(" \t");
        return begin == std::string::npos ? std::string() : bytes.substr(begin);
    };
    Settings settings{wire::parseEndpoint(value(u"listen")), value(u"folder"), {}};
    settings.stopEvent = UtfUtils::utf8ToUtf16(value(u"stop"));
    if (settings.folder.empty())
        throw std::invalid_argument(file + " names no folder");
    return settings;
}

/// The log of the process lies in the folder `log` beside the settings.
void startLog(const std::string& file) {
    const auto wide = [](const fs::path& path) { return UtfUtils::utf8ToUtf16(path.string()); };
    const fs::path settings = fs::absolute(file);
    const auto paths = norq_std::Paths::getInstance();
    paths->setPath(u"System Config Path Key", wide(settings.parent_path()));
    paths->setPath(u"System Log Path Key", wide(settings.parent_path() / "log"));
    norq_std::StaticLog::initInstance(wide(settings.stem()));
}

class CollectorService : public norq_std::AbstractService {
public:
    explicit CollectorService(const Settings& itsSettings)
        : settings(itsSettings)
        , store(settings.folder)
        , server(settings.listen, store) {
        if (!settings.stopEvent.empty())
            stopRequest.emplace(settings.stopEvent);
    }

    WString toString() const override { return u"CollectorService{}"; }
    WString getServiceName() override { return u"collector"; }
    void onStop() override { stopEvent.signal(); }

    void run() override {
        hasRun = true;
        const auto serving = std::make_shared<Serving>(server);
        norq_std::Thread thread(serving, u"server");
        thread.start();
        say(norq_std::INFO, "listening on " + server.getAddress() + ", storing in " + settings.folder);
        std::vector<norq_std::Waitable*> ends = {&stopEvent, &thread};
        if (stopRequest)
            ends.push_back(&*stopRequest);
        norq_std::Concurrency::waitForMultipleObjects(ends, norq_std::WAIT_ANY, -1);
        server.stop();
        thread.join(-1);
        if (!serving->failure.empty())
            throw std::runtime_error(serving->failure);
        say(norq_std::INFO, "stopped");
    }

    std::atomic<bool> hasRun{false};

private:
    struct Serving : norq_std::Runnable {
        explicit Serving(Server& itsServer)
            : server(itsServer) {}
        WString toString() const override { return u"Serving{}"; }
        void run() override {
            try {
                server.run();
            } catch (const std::exception& exception) {
                failure = exception.what();
            }
        }
        Server& server;
        std::string failure;
    };

    const Settings settings;
    Store store;
    Server server;
    std::optional<norq_std::StopRequest> stopRequest;
};

int serve(const std::string& config, int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    norq_std_internal::ConvertUTF::setMaxStringSize(LONGEST_TEXT);
    startLog(config);
    CollectorService service(readSettings(config));
    service.parseArguments(argc, argv);
    if (service.start() || service.hasRun)
        return STOPPED;
    say(norq_std::ERROR, "no service manager has started this process; -F runs it in the foreground");
    return WRONG_USAGE;
}

int run(int argc, char** argv) {
    std::string config;
    std::string dump;
    std::vector<char*> others = {argv[0]};
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--help") {
            std::fputs(USAGE, stdout);
            return STOPPED;
        }
        if ((argument == "--config" || argument == "--dump") && i + 1 < argc)
            (argument == "--dump" ? dump : config) = argv[++i];
        else
            others.push_back(argv[i]);
    }
    if (!dump.empty()) {
        Store::dump(dump, stdout);
        return STOPPED;
    }
    if (config.empty()) {
        std::fputs(USAGE, stderr);
        return WRONG_USAGE;
    }
    return serve(config, static_cast<int>(others.size()), others.data());
}

} // namespace
} // namespace collector

int main(int argc, char** argv) {
    try {
        return collector::run(argc, argv);
    } catch (const norq_std::NorqException& failure) {
        collector::say(norq_std::ERROR, norq_std::UtfUtils::utf16ToUtf8(failure.getMessage()));
    } catch (const std::invalid_argument& wrong) {
        collector::say(norq_std::ERROR, wrong.what());
        return collector::WRONG_USAGE;
    } catch (const std::exception& failure) {
        collector::say(norq_std::ERROR, failure.what());
    }
    return collector::FAILED;
}

#include "ShipperService.h"

#include "Console.h"
#include "ProcessLog.h"

#include "base/UtfUtils.h"
#include "concurrency/Concurrency.h"
#include "exception/NorqException.h"

#include <cstdlib>

namespace shipper {

ShipperService::ShipperService(const Options& commandLine)
    : options(commandLine) {
    // By hand it runs in the foreground, asked or not: the manager gives a socket to those that it started.
    // NOLINTNEXTLINE(concurrency-mt-unsafe): read once, at start
    if (options.foreground || std::getenv("NOTIFY_SOCKET") == nullptr) {
        const char* const arguments[] = {"shipper", "-F"};
        parseArguments(2, arguments);
    }
}

void ShipperService::onStart() {
    if (!options.config.empty())
        startLog(options.config);
    if (!options.stopEvent.empty())
        stopRequest.emplace(norq_std::UtfUtils::utf8ToUtf16(options.stopEvent));
    settings.emplace(options);
    agent.emplace(*settings, state);
    started = true;
}

/// Returns when all is shipped: to the manager the service has stopped then.
void ShipperService::onStop() {
    stopping = true;
    if (norq_std::Concurrency::waitForSingleObject(finished, 0) != 0)
        SHIPPER_SAY(norq_std::INFO, u"shipper::ShipperService::onStop", "stopping: shipping what has been read");
    state.stop.signal();
    if (started)
        norq_std::Concurrency::waitForSingleObject(finished, -1);
}

void ShipperService::run() {
    std::string failure;
    try {
        agent->run(stopRequest ? &*stopRequest : nullptr);
    } catch (const norq_std::NorqException& exception) {
        failure = norq_std::UtfUtils::utf16ToUtf8(exception.getMessage());
    } catch (const std::exception& exception) {
        failure = exception.what();
    }
    if (!failure.empty()) {
        state.broken = true;
        SHIPPER_SAY(norq_std::FATAL, u"shipper::ShipperService::run", "internal failure: " + failure);
    }
    finished.signal();
    if (!stopping)
        stop(true); // it ended by itself
}

} // namespace shipper

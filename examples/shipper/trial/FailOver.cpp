#include "trial/Stage.h"
#include "trial/Trials.h"

#include "Delivery.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>

namespace trial {
namespace {

using Clock = std::chrono::steady_clock;
using boost::asio::ip::tcp;

double milliseconds(Clock::duration time) { return std::chrono::duration<double, std::milli>(time).count(); }

/// Where the last batch went, and when.
class Deliveries {
public:
    void note(const std::string& to) {
        const std::lock_guard guard(mutex);
        if (to != address)
            since = Clock::now();
        address = to;
        changed.notify_all();
    }
    /// The collector that gets batches, any but this one, and since when it does.
    std::pair<std::string, Clock::time_point> await(const std::string& butNot) {
        std::unique_lock guard(mutex);
        changed.wait(guard, [&] { return !address.empty() && address != butNot; });
        return {address, since};
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::string address;
    Clock::time_point since;
};

/// Kills a collector; when a connection that does nothing is told of it.
Clock::time_point killAndNotice(Stage& stage, std::size_t number) {
    boost::asio::io_context context;
    tcp::socket socket(context);
    const wire::Endpoint endpoint = wire::parseEndpoint(stage.addressOf(number));
    socket.connect(tcp::endpoint(boost::asio::ip::make_address(endpoint.host),
                                 static_cast<std::uint16_t>(std::stoi(endpoint.port))));
    Clock::time_point noticed;
    std::thread watching([&] {
        char byte = 0;
        boost::system::error_code end;
        socket.read_some(boost::asio::buffer(&byte, 1), end);
        noticed = Clock::now();
    });
    norq_std::Thread::sleep(20); // it waits by then
    stage.killCollector(number);
    watching.join();
    return noticed;
}

} // namespace

int runFailOver(const std::string& folder, int rounds) {
    Stage stage(folder, 2);
    shipper::Delivery::Settings settings;
    for (std::size_t i = 0; i < stage.collectorCount(); ++i) {
        settings.collectors.push_back(wire::parseEndpoint(stage.addressOf(i)));
        stage.startCollector(i);
    }
    settings.retryMs = 100;
    shipper::RunState state;
    shipper::Delivery delivery(settings, state);
    Deliveries deliveries;
    delivery.delivered = [&](const std::string& address) { deliveries.note(address); };
    delivery.start();

    std::atomic<bool> stop{false};
    std::thread feeding([&] {
        for (std::uint64_t number = 1; !stop; ++number) {
            delivery.getQueue().put(number, {{"{\"line\":" + std::to_string(number) + "}"}, {}});
            norq_std::Thread::sleep(1);
        }
    });
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        const std::string before = deliveries.await("").first;
        const std::size_t number = before == stage.addressOf(0) ? 0 : 1;
        const Clock::time_point noticed = killAndNotice(stage, number);
        times.push_back(milliseconds(deliveries.await(before).second - noticed));
        stage.startCollector(number);
        norq_std::Thread::sleep(300); // until it listens
    }
    stop = true;
    feeding.join();
    delivery.finish();
    std::sort(times.begin(), times.end());
    std::printf(
        "fail-over, %d rounds: from the system's notice of a killed collector to the first event that the next\n"
        "one acknowledges: median %.2f ms, least %.2f ms, most %.2f ms (goal: within 10 ms)\n",
        rounds, times[times.size() / 2], times.front(), times.back());
    return 0;
}

} // namespace trial

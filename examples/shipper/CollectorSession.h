#pragma once

#include "DeliveryProtocol.h"

#include "wire/Endpoint.h"

#include "concurrency/Event.h"
#include "concurrency/Lock.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace shipper {

/// One TCP connection to a collector. It is read all the time, so that its end is noticed at once, and `lost` is
/// signalled then. Any thread may call any operation, but the thread of the context.
class CollectorSession : public DeliveryChannel, public std::enable_shared_from_this<CollectorSession> {
public:
    /// `lost` outlives the context.
    CollectorSession(boost::asio::io_context& context, const wire::Endpoint& endpoint, norq_std::Event& lost);

    /// Connects. Throws `NorqConnectException`.
    void open(std::int32_t timeoutMs);
    /// For whoever keeps it: which collector this is, once that is known.
    void setCollector(const std::string& id) { collector = id; }
    const std::string& getCollector() const { return collector; }

    /// How long an answer may take from now on; 5 seconds at first. A collector that hangs is one that is gone.
    void setPatience(std::int32_t timeoutMs) { answerMs = timeoutMs; }

    wire::Message exchange(const wire::Message& message) override;
    std::string getAddress() const override { return endpoint.toString(); }

    bool isLost() const { return lostFlag; }
    void close() { fail("it was closed"); }

private:
    using Error = boost::system::error_code;

    void resolve();
    void connect(const std::vector<boost::asio::ip::tcp::endpoint>& addresses);
    void startReading();
    void received(const Error& error, std::size_t count);
    void fail(const std::string& reason);
    [[noreturn]] void throwLost();

    const wire::Endpoint endpoint;
    norq_std::Event& lost;
    norq_std::Lock exchangeLock; ///< held over an exchange
    std::string collector;
    std::atomic<std::int32_t> answerMs{5000};

    // Of the context's thread.
    boost::asio::ip::tcp::resolver resolver;
    boost::asio::ip::tcp::socket socket;
    wire::FrameDecoder decoder;
    std::array<char, 16 * 1024> block{};

    std::atomic<bool> lostFlag{false};
    norq_std::Event answered{true, false}; ///< or connected, or lost
    norq_std::Lock lock;                   ///< guards what follows
    std::string reason;
    std::deque<wire::Message> answers;
};

} // namespace shipper

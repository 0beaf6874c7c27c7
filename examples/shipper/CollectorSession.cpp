#include "CollectorSession.h"

#include "Console.h"

#include "base/UtfUtils.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Concurrency.h"
#include "exception/NorqException.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/connect.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>

#include <utility>

namespace shipper {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using Guard = norq_std::AutoLock<norq_std::Lock>;
} // namespace

CollectorSession::CollectorSession(asio::io_context& context, const wire::Endpoint& to, norq_std::Event& lostEvent)
    : endpoint(to)
    , lost(lostEvent)
    , resolver(context)
    , socket(context) {}

void CollectorSession::throwLost() {
    const Guard guard(lock);
    throw norq_std::NorqConnectException(
        norq_std::UtfUtils::utf8ToUtf16("the connection to " + endpoint.toString() + " is lost: " + reason));
}

void CollectorSession::fail(const std::string& why) {
    {
        const Guard guard(lock);
        if (lostFlag)
            return;
        reason = why;
        lostFlag = true;
    }
    asio::post(socket.get_executor(), [self = shared_from_this()] {
        Error ignored;
        self->resolver.cancel();
        self->socket.close(ignored);
    });
    answered.signal();
    lost.signal();
}

void CollectorSession::open(std::int32_t timeoutMs) {
    asio::post(socket.get_executor(), [self = shared_from_this()] { self->resolve(); });
    if (norq_std::Concurrency::waitForSingleObject(answered, timeoutMs) != 0)
        fail("it took too long to connect");
    if (lostFlag)
        throwLost();
}

void CollectorSession::resolve() {
    Error notNumeric;
    const auto address = asio::ip::make_address(endpoint.host, notNumeric);
    if (!notNumeric) { // without the detour over the resolver's thread
        connect({tcp::endpoint(address, static_cast<std::uint16_t>(std::stoul(endpoint.port)))});
        return;
    }
    resolver.async_resolve(endpoint.host, endpoint.port,
                           [self = shared_from_this()](const Error& error, const tcp::resolver::results_type& found) {
                               if (error)
                                   self->fail(error.message());
                               else
                                   self->connect({found.begin(), found.end()});
                           });
}

void CollectorSession::connect(const std::vector<tcp::endpoint>& addresses) {
    asio::async_connect(socket, addresses, [self = shared_from_this()](const Error& error, const tcp::endpoint&) {
        if (error || self->lostFlag) {
            self->fail(error.message());
            return;
        }
        Error ignored;
        self->socket.set_option(tcp::no_delay(true), ignored);
        self->startReading();
        self->answered.signal();
    });
}

void CollectorSession::startReading() {
    socket.async_read_some(asio::buffer(block), [self = shared_from_this()](const Error& error, std::size_t count) {
        self->received(error, count);
    });
}

void CollectorSession::received(const Error& error, std::size_t count) {
    if (error) {
        fail(error == asio::error::eof ? "the collector closed it" : error.message());
        return;
    }
    try {
        decoder.add(block.data(), count);
        while (const auto payload = decoder.next()) {
            wire::Message answer = wire::decode(*payload);
            {
                const Guard guard(lock);
                answers.push_back(std::move(answer));
            }
            answered.signal();
        }
    } catch (const wire::ProtocolError& wrong) {
        SHIPPER_SAY(norq_std::WARN, u"shipper::CollectorSession::received",
                    endpoint.toString() + " sent " + wrong.what());
        fail(std::string("it sent ") + wrong.what());
        return;
    }
    startReading();
}

wire::Message CollectorSession::exchange(const wire::Message& message) {
    const Guard exchangeGuard(exchangeLock);
    if (lostFlag)
        throwLost();
    const auto frame = std::make_shared<const std::string>(wire::encode(message));
    asio::post(socket.get_executor(), [self = shared_from_this(), frame] {
        asio::async_write(self->socket, asio::buffer(*frame), [self, frame](const Error& error, std::size_t) {
            if (error)
                self->fail(error.message());
        });
    });
    for (;;) {
        const bool inTime = norq_std::Concurrency::waitForSingleObject(answered, answerMs) == 0;
        {
            const Guard guard(lock);
            if (!answers.empty()) {
                wire::Message answer = std::move(answers.front());
                answers.pop_front();
                return answer;
            }
        }
        if (!inTime)
            fail("no answer came");
        if (lostFlag)
            throwLost();
    }
}

} // namespace shipper

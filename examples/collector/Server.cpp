#include "Server.h"

#include "Say.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>

#include <array>
#include <chrono>
#include <exception>
#include <optional>
#include <utility>

namespace collector {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using Error = boost::system::error_code;

constexpr std::size_t MOST_LINKS = 512;
constexpr std::chrono::seconds HELLO_TIME{10};
constexpr std::chrono::seconds SILENT_TIME{60}; // agents send a ping every few seconds
constexpr std::chrono::milliseconds PAUSE{200};

tcp::endpoint resolve(asio::io_context& context, const wire::Endpoint& endpoint) {
    return tcp::resolver(context).resolve(endpoint.host, endpoint.port, tcp::resolver::passive).begin()->endpoint();
}

std::string textOf(const tcp::endpoint& endpoint) {
    return wire::Endpoint{endpoint.address().to_string(), std::to_string(endpoint.port())}.toString();
}

} // namespace

/// One connection.
class Server::Link : public std::enable_shared_from_this<Link> {
public:
    Link(Server& itsServer, tcp::socket&& accepted)
        : server(itsServer)
        , socket(std::move(accepted))
        , timer(socket.get_executor()) {
        Error ignored;
        const tcp::endpoint from = socket.remote_endpoint(ignored);
        peer = textOf(from);
        socket.set_option(tcp::no_delay(true), ignored);
        ++server.linkCount;
    }
    ~Link() { --server.linkCount; }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    void start() {
        expect(HELLO_TIME);
        read();
    }
    void close(const std::string& why) {
        if (std::exchange(closed, true))
            return;
        NORQ_LOG(norq_std::DEBUG, u"collector::Server", u"Connection of %hs ends: %hs.", peer.c_str(), why.c_str());
        Error ignored;
        timer.cancel();
        socket.close(ignored);
    }

private:
    void expect(std::chrono::seconds time) {
        timer.expires_after(time);
        timer.async_wait([self = shared_from_this()](const Error& error) {
            if (!error)
                self->close("it is silent");
        });
    }

    void read() {
        socket.async_read_some(asio::buffer(block), [self = shared_from_this()](const Error& error, std::size_t count) {
            if (error)
                self->close(error.message());
            if (self->closed)
                return;
            self->decoder.add(self->block.data(), count);
            self->process();
        });
    }

    /// Answers one message, and reads on when there is no more.
    void process() {
        try {
            if (const auto payload = decoder.next())
                write(answer(wire::decode(*payload)));
            else
                read();
        } catch (const wire::ProtocolError& wrong) {
            say(norq_std::WARN, "connection of " + peer + " ends: it sent " + wrong.what());
            close(wrong.what());
        } catch (const std::exception& failure) { // of the store: the agent goes to another collector
            say(norq_std::ERROR, "connection of " + peer + " ends: " + failure.what());
            close(failure.what());
        }
    }

    wire::Message answer(const wire::Message& message) {
        expect(SILENT_TIME);
        if (!agent.empty())
            return server.store.answer(agent, message);
        if (message.type != wire::Message::Type::Hello)
            throw wire::ProtocolError("\"" + nameOf(message.type) + "\" before it said hello");
        agent = message.id;
        auto& newest = server.links[agent];
        if (const auto earlier = newest.lock())
            earlier->close("there is a newer one of its agent");
        newest = weak_from_this();
        say(norq_std::INFO, "agent " + agent + " is here from " + peer);
        return wire::Message::welcome(server.store.getId());
    }

    void write(const wire::Message& message) {
        const auto frame = std::make_shared<const std::string>(wire::encode(message));
        asio::async_write(socket, asio::buffer(*frame),
                          [self = shared_from_this(), frame](const Error& error, std::size_t) {
                              if (error)
                                  self->close(error.message());
                              if (!self->closed)
                                  self->process();
                          });
    }

    Server& server;
    tcp::socket socket;
    asio::steady_timer timer;
    std::string peer;
    std::string agent; ///< empty before the hello
    wire::FrameDecoder decoder;
    std::array<char, 64 * 1024> block{};
    bool closed = false;
};

Server::Server(const wire::Endpoint& endpoint, Store& itsStore)
    : store(itsStore)
    , acceptor(context, resolve(context, endpoint))
    , pause(context) {
    accept();
}

Server::~Server() = default;

std::string Server::getAddress() const { return textOf(acceptor.local_endpoint()); }

void Server::run() { context.run(); }

void Server::stop() { context.stop(); }

void Server::accept() {
    acceptor.async_accept([this](const Error& error, tcp::socket socket) {
        if (error) {
            say(norq_std::ERROR, "cannot accept a connection: " + error.message());
            pause.expires_after(PAUSE); // such as for want of descriptors
            pause.async_wait([this](const Error&) { accept(); });
            return;
        }
        if (linkCount < MOST_LINKS)
            std::make_shared<Link>(*this, std::move(socket))->start();
        else
            say(norq_std::WARN, "a connection was refused: there are " + std::to_string(linkCount));
        accept();
    });
}

} // namespace collector

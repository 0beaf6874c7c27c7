#pragma once

#include "Store.h"

#include "wire/Endpoint.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include <map>
#include <memory>
#include <string>

namespace collector {

/// Takes connections of agents and answers their messages from the store, all on the thread that calls `run`.
///
/// A connection ends at the first message that cannot be, and when it is silent too long. An agent has one connection:
/// the newest, so that nothing that was sent on an earlier one is heard any more once the agent has said hello again.
class Server {
public:
    /// Listens from now on. Port 0 takes any that is free. Throws `std::system_error`.
    Server(const wire::Endpoint& endpoint, Store& store);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// "host:port" on which it listens.
    std::string getAddress() const;
    void run();
    /// Any thread may call it.
    void stop();

private:
    class Link;

    void accept();

    Store& store;
    boost::asio::io_context context{1};
    boost::asio::ip::tcp::acceptor acceptor;
    boost::asio::steady_timer pause;                  ///< after a failure to accept
    std::map<std::string, std::weak_ptr<Link>> links; ///< by agent
    std::size_t linkCount = 0;
};

} // namespace collector

// A connection over real sockets, to services on the loopback that refuse, hang, reset, answer slowly, vanish and
// return.

#include "ScriptedClient.h"
#include "support/NothingLeft.h"

#include "exception/NorqException.h"

#include <arpa/inet.h>
#include <future>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace norq_std;
using namespace norqstd_test;

namespace {

class ConnectionTcp : public NothingLeft {};

class Descriptor {
public:
    explicit Descriptor(int number = -1)
        : fd(number) {}
    Descriptor(Descriptor&& other) noexcept
        : fd(std::exchange(other.fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd, other.fd);
        return *this;
    }
    ~Descriptor() {
        if (fd >= 0)
            close(fd);
    }
    int fd;
};

/// On an address of this process's own, so that nobody else takes a port whose service has vanished.
sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK + static_cast<std::uint32_t>(getpid()));
    return address;
}

/// Greets each client with a byte and answers each of its bytes with one, as far as its manner allows.
class TcpService {
public:
    enum Manner { Answer, AnswerWhenTold, Hang, Reset, FallSilent };

    explicit TcpService(Manner how = Answer)
        : manner(how) {
        start();
    }
    ~TcpService() { vanish(); }

    void start() {
        Descriptor listening(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const int on = 1;
        setsockopt(listening.fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in address = loopback(port);
        socklen_t size = sizeof address;
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        if (bind(listening.fd, generic, size) != 0 || listen(listening.fd, 16) != 0 ||
            getsockname(listening.fd, generic, &size) != 0)
            throw std::runtime_error("cannot listen");
        port = ntohs(address.sin_port);
        stop = Descriptor(eventfd(0, EFD_CLOEXEC));
        thread = std::thread([this, taken = std::move(listening)]() mutable { serve(taken.fd); });
    }
    /// Closes everything; the port refuses from then on.
    void vanish() {
        if (!thread.joinable())
            return;
        eventfd_write(stop.fd, 1);
        thread.join();
        stop = Descriptor();
    }
    /// Of one that waits to be told.
    void answerNow() { told.set_value(); }

    std::uint16_t port = 0;

private:
    void serve(int listening) {
        std::vector<Descriptor> clients;
        for (;;) {
            std::vector<pollfd> waiting{{stop.fd, POLLIN, 0}, {listening, POLLIN, 0}};
            for (const Descriptor& client : clients)
                waiting.push_back({client.fd, POLLIN, 0});
            poll(waiting.data(), waiting.size(), -1);
            if (waiting[0].revents != 0)
                return;
            for (std::size_t i = 2; i < waiting.size(); ++i) {
                char byte = 0;
                if (waiting[i].revents != 0 &&
                    (read(waiting[i].fd, &byte, 1) != 1 ||
                     (manner != FallSilent && send(waiting[i].fd, "+", 1, MSG_NOSIGNAL) != 1)))
                    clients[i - 2] = Descriptor();
            }
            std::erase_if(clients, [](const Descriptor& client) { return client.fd < 0; });
            if (waiting[1].revents != 0)
                welcome(Descriptor(accept4(listening, nullptr, nullptr, SOCK_CLOEXEC)), clients);
        }
    }
    void welcome(Descriptor client, std::vector<Descriptor>& clients) {
        const linger now{1, 0};
        if (manner == Reset)
            setsockopt(client.fd, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        if (manner == AnswerWhenTold)
            told.get_future().wait();
        if (manner == Answer || manner == AnswerWhenTold || manner == FallSilent)
            send(client.fd, "+", 1, MSG_NOSIGNAL);
        if (manner != Reset)
            clients.push_back(std::move(client));
    }

    const Manner manner;
    std::promise<void> told;
    Descriptor stop;
    std::thread thread;
};

struct Endpoint {
    std::uint16_t port;
    int timeoutMs = longLimitMillis(); ///< for the greeting
    int answerMs = longLimitMillis();
};

class TcpClient : public IConnectionImplementer, public ISendHeartBeat {
public:
    explicit TcpClient(std::vector<Endpoint> services)
        : endpoints(std::move(services)) {}

    WString toString() const override { return u"TcpClient{}"; }
    WString useServiceConnectionInfo(int index) override {
        if (index >= static_cast<int>(endpoints.size()))
            throw NorqObjectNotFoundException(u"No more services.");
        selected = endpoints[static_cast<std::size_t>(index)];
        return u"service" + norq_std_internal::numberText(index);
    }
    void establishConnection() override {
        auto connecting = std::make_shared<Descriptor>(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_in address = loopback(selected.port);
        if (connect(connecting->fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw NorqConnectException(u"Refused.", errno);
        awaitByte(connecting->fd, selected.timeoutMs);
        const std::lock_guard guard(mutex);
        connection = connecting;
    }
    void disconnectConnection() override {
        const std::lock_guard guard(mutex);
        connection.reset();
    }
    std::shared_ptr<void> internalGetConnection() override { return held(); }
    void sendHeartBeat() override {
        const auto used = held();
        if (!used || send(used->fd, "?", 1, MSG_NOSIGNAL) != 1)
            throw NorqConnectException(u"Gone.", errno);
        awaitByte(used->fd, selected.answerMs);
    }

private:
    std::shared_ptr<Descriptor> held() {
        const std::lock_guard guard(mutex);
        return connection;
    }
    static void awaitByte(int fd, int limitMs) {
        pollfd waiting{fd, POLLIN, 0};
        char byte = 0;
        if (poll(&waiting, 1, limitMs) != 1 || read(fd, &byte, 1) != 1)
            throw NorqConnectException(u"No answer.", errno);
    }

    const std::vector<Endpoint> endpoints;
    Endpoint selected{};
    std::mutex mutex;
    std::shared_ptr<Descriptor> connection;
};

struct Fixture {
    explicit Fixture(const std::vector<Endpoint>& services)
        : client(std::make_shared<TcpClient>(services))
        , manager(u"tcp", client) {
        manager.setRecoveryInterval(10);
        manager.addListener(listener);
    }

    std::shared_ptr<TcpClient> client;
    std::shared_ptr<Listener> listener = std::make_shared<Listener>();
    ConnectionManager manager;
};

TEST_F(ConnectionTcp, passes_over_services_that_refuse_hang_and_reset) {
    TcpService hanging(TcpService::Hang);
    TcpService resetting(TcpService::Reset);
    TcpService answering;
    TcpService refusing; // last: none of the others takes its port
    refusing.vanish();
    Fixture all({{refusing.port}, {hanging.port, 50}, {resetting.port}, {answering.port}});
    all.manager.setTryAllServices(true);
    all.manager.connect();
    EXPECT_EQ(all.listener->next(), "up service3");
    all.manager.disconnect();
    EXPECT_EQ(all.listener->next(), "down service3");
    all.manager.setTryAllServices(false);
    EXPECT_THROW(all.manager.connect(), NorqConnectException); // one is tried, the background finds the others
    EXPECT_EQ(all.listener->next(), "up service3");

    Fixture none({{refusing.port}, {hanging.port, 50}, {resetting.port}});
    none.manager.setTryAllServices(true);
    EXPECT_THROW(none.manager.connect(), NorqConnectException);
    EXPECT_TRUE(none.manager.isInRecovery());
}

TEST_F(ConnectionTcp, fails_over_when_a_service_vanishes_and_returns_when_it_is_back) {
    TcpService first;
    TcpService second;
    Fixture fixture({{first.port}, {second.port}});
    fixture.manager.setHeartBeatSender(fixture.client);
    fixture.manager.setHeartBeatInterval(1);
    fixture.manager.setHeartBeatEnabled(true);
    fixture.manager.connect();
    second.vanish(); // first: else the connection may move there in between
    first.vanish();  // the next heartbeat finds out
    for (const char* change : {"up service0", "down service0"})
        EXPECT_EQ(fixture.listener->next(), change);
    EXPECT_THROW(fixture.manager.connect(), NorqConnectException);
    second.start();
    EXPECT_EQ(fixture.listener->next(), "up service1");
    first.start();
    second.vanish();
    for (const char* change : {"down service1", "up service0"})
        EXPECT_EQ(fixture.listener->next(), change);
    EXPECT_EQ(fixture.manager.getHost(), u"service0");
}

TEST_F(ConnectionTcp, leaves_a_service_that_falls_silent_while_it_is_connected) {
    TcpService silent(TcpService::FallSilent);
    TcpService answering;
    Fixture fixture({{silent.port, longLimitMillis(), 1000}, {answering.port}});
    fixture.manager.setConnectionPolicy(std::make_shared<LastPlusOneConnectionPolicy>());
    fixture.manager.setHeartBeatSender(fixture.client);
    fixture.manager.setHeartBeatInterval(1);
    fixture.manager.connect();
    fixture.manager.setHeartBeatEnabled(true);
    for (const char* change : {"up service0", "down service0", "up service1"})
        EXPECT_EQ(fixture.listener->next(), change);
}

TEST_F(ConnectionTcp, waits_for_a_slow_answer_and_says_how_it_stands_meanwhile) {
    TcpService slow(TcpService::AnswerWhenTold);
    Fixture fixture(std::vector<Endpoint>{{slow.port}});
    std::thread connecting([&] { fixture.manager.connect(); });
    while (!fixture.manager.isWantToBeConnected())
        std::this_thread::yield();
    EXPECT_FALSE(fixture.manager.isConnected());
    fixture.manager.setLastOperationTime();
    slow.answerNow();
    EXPECT_EQ(fixture.listener->next(), "up service0");
    connecting.join();
}

} // namespace

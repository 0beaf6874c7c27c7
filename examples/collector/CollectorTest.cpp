// A real server on loopback, and clients that do not keep to the protocol.

#include "Server.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

namespace fs = std::filesystem;
using namespace std::string_literals;
using boost::asio::ip::tcp;
using wire::Message;

namespace {

class CollectorTest : public testing::Test {
protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "collector-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder = name;
        store = std::make_unique<collector::Store>(folder);
        server = std::make_unique<collector::Server>(wire::Endpoint{"127.0.0.1", "0"}, *store);
        thread = std::thread([this] { server->run(); });
    }
    void TearDown() override {
        server->stop();
        thread.join();
        server.reset();
        fs::remove_all(folder);
    }

    class Client {
    public:
        explicit Client(const collector::Server& server)
            : socket(context) {
            const wire::Endpoint to = wire::parseEndpoint(server.getAddress());
            socket.connect({boost::asio::ip::make_address(to.host), static_cast<std::uint16_t>(std::stoi(to.port))});
        }
        void send(const std::string& bytes) {
            boost::system::error_code ignored; // the other side may have ended it already
            boost::asio::write(socket, boost::asio::buffer(bytes), ignored);
        }
        /// Null if the connection has ended.
        std::unique_ptr<Message> receive() {
            boost::system::error_code end;
            for (std::array<char, 1000> block{}; !end;) {
                if (const auto payload = decoder.next())
                    return std::make_unique<Message>(wire::decode(*payload));
                decoder.add(block.data(), socket.read_some(boost::asio::buffer(block), end));
            }
            return nullptr;
        }
        std::unique_ptr<Message> ask(const Message& message) {
            send(wire::encode(message));
            return receive();
        }

    private:
        boost::asio::io_context context;
        tcp::socket socket;
        wire::FrameDecoder decoder;
    };

    std::size_t countFiles(const std::string& extension) const {
        std::size_t count = 0;
        for (const auto& entry : fs::recursive_directory_iterator(folder))
            count += entry.path().extension() == extension;
        return count;
    }
    static Message batch(std::uint64_t sequence, std::uint64_t confirmed) {
        return {Message::Type::Batch, {}, sequence, confirmed, {"{\"n\":1}"}};
    }

    fs::path folder;
    std::unique_ptr<collector::Store> store;
    std::unique_ptr<collector::Server> server;
    std::thread thread;
};

} // namespace

TEST_F(CollectorTest, whatIsNotTheProtocolEndsItsConnectionAndNoOther) {
    Client good(*server);
    ASSERT_EQ(good.ask(Message::hello("good"))->id, store->getId());
    for (const std::string& hostile :
         {"GET / HTTP/1.1\r\n\r\n"s, "\0\0\0\0"s, "\xff\xff\xff\xff"s, wire::makeFrame("{}"), wire::makeFrame("\xff"),
          wire::encode(Message::ping()), wire::encode(batch(1, 0)), wire::encode(Message::welcome("x")),
          wire::makeFrame(R"({"type":"hello","id":"../good"})")}) {
        Client client(*server);
        client.send(hostile);
        EXPECT_EQ(client.receive(), nullptr) << hostile;
    }
    Client twice(*server);
    ASSERT_NE(twice.ask(Message::hello("twice")), nullptr);
    EXPECT_EQ(twice.ask(Message::hello("twice")), nullptr);
    EXPECT_EQ(good.ask(Message::ping())->type, Message::Type::Pong);
    EXPECT_EQ(countFiles(".pending"), 0u);
}

TEST_F(CollectorTest, aBatchCountsWhenItsAgentSaysSoAndIsThrownAwayOtherwise) {
    Client client(*server);
    ASSERT_NE(client.ask(Message::hello("agent")), nullptr);
    EXPECT_EQ(client.ask(batch(1, 0))->sequence, 1u);
    EXPECT_EQ(countFiles(".jsonl"), 0u);
    EXPECT_EQ(client.ask(batch(2, 1))->sequence, 2u);
    EXPECT_EQ(countFiles(".jsonl"), 1u);
    EXPECT_EQ(client.ask(Message::confirm(1))->confirmed, 1u);
    EXPECT_EQ(countFiles(".jsonl"), 1u);
    EXPECT_EQ(countFiles(".pending"), 0u);
}

TEST_F(CollectorTest, anEarlierConnectionOfAnAgentIsNotHeardAnyMore) {
    Client earlier(*server);
    ASSERT_NE(earlier.ask(Message::hello("agent")), nullptr);
    Client later(*server);
    ASSERT_NE(later.ask(Message::hello("agent")), nullptr);
    EXPECT_EQ(earlier.ask(batch(1, 0)), nullptr);
    EXPECT_NE(later.ask(Message::confirm(0)), nullptr);
    EXPECT_EQ(countFiles(".pending"), 0u);
}

#include "wire/Endpoint.h"
#include "wire/Message.h"

#include "base/UtfUtils.h"
#include "internal/ConvertUTF.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using namespace std::string_literals;
using wire::decode;
using wire::FrameDecoder;
using wire::Message;
using wire::ProtocolError;

namespace {

std::string payloadOf(const std::string& frame) { return frame.substr(wire::HEADER_BYTES); }

} // namespace

TEST(FrameTest, framesComeOutOfAStreamHoweverItIsCut) {
    const std::vector<std::string> payloads = {"a", std::string(70'000, 'b'), "ccc"};
    std::string stream;
    for (const std::string& payload : payloads)
        stream += wire::makeFrame(payload);
    for (const std::size_t piece : {std::size_t(1), std::size_t(3), std::size_t(4096), stream.size()}) {
        FrameDecoder decoder;
        std::vector<std::string> got;
        for (std::size_t at = 0; at < stream.size(); at += piece) {
            decoder.add(stream.data() + at, std::min(piece, stream.size() - at));
            while (auto payload = decoder.next())
                got.push_back(std::move(*payload));
        }
        EXPECT_EQ(got, payloads) << piece;
    }
}

TEST(FrameTest, aLengthThatCannotBeIsRefusedBeforeItsBytesCome) {
    for (const std::string& header : {"\0\0\0\0"s, "\x7f\xff\xff\xff"s, "\xff\xff\xff\xff"s, "GET "s, "\0\x80\0\1"s}) {
        FrameDecoder decoder;
        decoder.add(header.data(), header.size());
        EXPECT_THROW(decoder.next(), ProtocolError);
        EXPECT_THROW(decoder.next(), ProtocolError);
    }
    EXPECT_THROW(wire::makeFrame(""), ProtocolError);
    EXPECT_THROW(wire::makeFrame(std::string(wire::MAX_FRAME_BYTES + 1, 'x')), ProtocolError);
}

TEST(MessageTest, aBatchArrivesAsItWasSentUpToTheLongestFrame) {
    norq_std_internal::ConvertUTF::setMaxStringSize(16 * 1024 * 1024);
    Message sent{Message::Type::Batch, {}, wire::MAX_SEQUENCE, wire::MAX_SEQUENCE - 1, {}};
    sent.events = {R"({"line":1,"text":"pä \"1\" 😀 \t"})", "{}"};
    sent.events.push_back(R"({"text":")" + std::string(wire::MAX_FRAME_BYTES - 300, 'x') + "\"}");
    const Message got = decode(payloadOf(encode(sent)));
    EXPECT_EQ(got.type, sent.type);
    EXPECT_EQ(got.sequence, sent.sequence);
    EXPECT_EQ(got.confirmed, sent.confirmed);
    ASSERT_EQ(got.events.size(), sent.events.size());
    EXPECT_EQ(got.events[0], sent.events[0]);
    EXPECT_TRUE(got.events == sent.events);
}

TEST(MessageTest, everyOtherMessageArrivesAsItWasSent) {
    for (const Message& sent : {Message::hello("agent-1"), Message::welcome("c"), Message::confirm(0),
                                Message::settled(5), Message::ack(6), Message::ping(), Message::pong()}) {
        const Message got = decode(payloadOf(encode(sent)));
        EXPECT_EQ(got.type, sent.type);
        EXPECT_EQ(got.id, sent.id);
        EXPECT_EQ(got.sequence, sent.sequence);
        EXPECT_EQ(got.confirmed, sent.confirmed);
    }
}

TEST(MessageTest, whatIsNoMessageIsRefused) {
    const std::string batch = R"({"type":"batch","sequence":2,"confirmed":1,"events":)";
    const std::vector<std::string> hostile = {"x",
                                              "{",
                                              "null",
                                              "[]",
                                              "{}",
                                              "\xff\xfe",
                                              "{\"type\":\"ping\"}\0"s,
                                              R"({"type":7})",
                                              R"({"type":"shout"})",
                                              R"({"type":"hello"})",
                                              R"({"type":"hello","id":""})",
                                              R"({"type":"hello","id":"../../etc"})",
                                              R"({"type":"hello","id":7})",
                                              R"({"type":"hello","id":")" + std::string(65, 'a') + R"("})",
                                              R"({"type":"ack"})",
                                              R"({"type":"ack","sequence":0})",
                                              R"({"type":"ack","sequence":-1})",
                                              R"({"type":"ack","sequence":1.5})",
                                              R"({"type":"ack","sequence":1e300})",
                                              R"({"type":"ack","sequence":nan})",
                                              R"({"type":"ack","sequence":"1"})",
                                              R"({"type":"confirm","confirmed":9007199254740994})",
                                              R"({"type":"batch","sequence":2,"confirmed":2,"events":[{}]})",
                                              batch + "[]}",
                                              batch + "{}}",
                                              batch + "[1]}",
                                              batch + "[{},null]}",
                                              batch + "[{}]",
                                              batch + "[" + std::string(20'000, '[') + "]}",
                                              std::string(200'000, '['),
                                              R"({"type":)" + std::string(200'000, '{')};
    for (const std::string& payload : hostile)
        EXPECT_THROW(decode(payload), ProtocolError) << payload.substr(0, 100);
    EXPECT_EQ(decode(batch + "[{}],\"more\":1}").sequence, 2u) << "what a later version adds is not minded";
}

TEST(EndpointTest, readsAListOfHostsAndPorts) {
    const auto endpoints = wire::parseEndpoints("localhost:1, [::1]:65535");
    ASSERT_EQ(endpoints.size(), 2u);
    EXPECT_EQ(endpoints[0].toString(), "localhost:1");
    EXPECT_EQ(endpoints[1].host, "::1");
    EXPECT_EQ(endpoints[1].toString(), "[::1]:65535");
    EXPECT_TRUE(wire::parseEndpoints("").empty());
    for (const char* const wrong : {"host", ":1", "host:", "host:x", "host:65536", "host:1,,host:2", "host:-1"})
        EXPECT_THROW(wire::parseEndpoints(wrong), std::invalid_argument) << wrong;
}

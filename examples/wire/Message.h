#pragma once

#include "wire/Frame.h"

#include <cstdint>
#include <string>
#include <vector>

namespace wire {

/// One message of the protocol between agent and collector (docs/shipping.md).
struct Message {
    enum class Type {
        Hello,   ///< agent: who it is
        Welcome, ///< collector: who it is
        Confirm, ///< agent: up to where batches at this collector count
        Settled, ///< collector: so it is
        Batch,   ///< agent: events, and what Confirm says
        Ack,     ///< collector: the batch is held
        Ping,    ///< agent
        Pong,    ///< collector
    };

    Type type = Type::Ping;
    std::string id;                  ///< Hello, Welcome: of the sender
    std::uint64_t sequence = 0;      ///< Batch, Ack: of the batch
    std::uint64_t confirmed = 0;     ///< Confirm, Settled, Batch
    std::vector<std::string> events; ///< Batch: a JSON object each, as UTF-8

    static Message hello(const std::string& agent) { return {Type::Hello, agent, 0, 0, {}}; }
    static Message welcome(const std::string& collector) { return {Type::Welcome, collector, 0, 0, {}}; }
    static Message confirm(std::uint64_t last) { return {Type::Confirm, {}, 0, last, {}}; }
    static Message settled(std::uint64_t last) { return {Type::Settled, {}, 0, last, {}}; }
    static Message ack(std::uint64_t number) { return {Type::Ack, {}, number, 0, {}}; }
    static Message ping() { return {Type::Ping, {}, 0, 0, {}}; }
    static Message pong() { return {Type::Pong, {}, 0, 0, {}}; }
};

/// The largest number of a batch: every integer up to here is exact in JSON.
constexpr std::uint64_t MAX_SEQUENCE = std::uint64_t(1) << 53;

/// The name of a type as it stands on the wire.
std::string nameOf(Message::Type type);

/// The message as a frame. The texts of events go into it as they stand.
std::string encode(const Message& message);
/// A payload's message. Throws `ProtocolError` for whatever is not exactly a message.
Message decode(const std::string& payload);

/// Whether this can be the id of an agent or a collector, which serves as the name of a folder: 1 to 64 ASCII letters,
/// digits and "-".
bool isId(const std::string& text);
/// A new one that nobody else has.
std::string makeId();

} // namespace wire

#include "wire/Message.h"

#include "base/JsonArray.h"
#include "base/JsonNumber.h"
#include "base/JsonObject.h"
#include "base/JsonUtil.h"
#include "base/UtfUtils.h"
#include "exception/NorqException.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <random>

namespace wire {
namespace {

using norq_std::JsonObject;
using norq_std::UtfUtils;
using norq_std::WString;
using Type = Message::Type;

constexpr std::array<const char*, 8> NAMES = {"hello", "welcome", "confirm", "settled", "batch", "ack", "ping", "pong"};
constexpr std::size_t LONGEST_ID = 64;

/// A conversion ends at a zero byte, and at a fault, without a word: so the bytes behind the result are counted.
WString textOf(const std::string& payload) {
    WString text = UtfUtils::utf8ToUtf16(payload);
    std::size_t bytes = 0;
    for (const char16_t unit : text) {
        const bool surrogate = (unit & 0xF800) == 0xD800; // two of them stand for four bytes
        bytes += unit < 0x80 ? 1u : unit < 0x800 || surrogate ? 2u : 3u;
    }
    if (bytes != payload.size())
        throw ProtocolError("a message that is not UTF-8 text");
    return text;
}

std::shared_ptr<JsonObject> parse(const std::string& payload) {
    const WString text = textOf(payload);
    std::shared_ptr<norq_std::JsonAware> value;
    try {
        value = norq_std::JsonUtil::parseJson(text);
    } catch (const norq_std::NorqException&) { // what it says quotes the text of a stranger
    } catch (const std::exception&) {
    }
    auto object = std::dynamic_pointer_cast<JsonObject>(value);
    if (!object)
        throw ProtocolError("a message that is not a JSON object");
    return object;
}

Type typeOf(const JsonObject& object) {
    const std::string name = UtfUtils::utf16ToUtf8(object.getString(u"type", u""));
    const auto found = std::find(NAMES.begin(), NAMES.end(), name);
    if (found == NAMES.end())
        throw ProtocolError("a message of an unknown type");
    return static_cast<Type>(found - NAMES.begin());
}

std::uint64_t numberOf(const JsonObject& object, const WString& key, std::uint64_t lowest) {
    const auto number = std::dynamic_pointer_cast<norq_std::JsonNumber>(object.get(key));
    const double value = number ? number->value() : -1;
    if (!(value >= static_cast<double>(lowest) && value <= static_cast<double>(MAX_SEQUENCE)) ||
        value != std::floor(value))
        throw ProtocolError("a message without a sound \"" + UtfUtils::utf16ToUtf8(key) + "\"");
    return static_cast<std::uint64_t>(value);
}

std::string idOf(const JsonObject& object) {
    std::string id = UtfUtils::utf16ToUtf8(object.getString(u"id", u""));
    if (!isId(id))
        throw ProtocolError("a message without a sound \"id\"");
    return id;
}

std::vector<std::string> eventsOf(const JsonObject& object) {
    const auto array = object.getArray(u"events");
    if (!array || array->empty())
        throw ProtocolError("a batch without events");
    std::vector<std::string> events;
    events.reserve(array->size());
    for (const auto& element : *array) {
        if (!std::dynamic_pointer_cast<JsonObject>(element))
            throw ProtocolError("an event that is not a JSON object");
        events.push_back(UtfUtils::utf16ToUtf8(element->toJsonString()));
    }
    return events;
}

bool carriesId(Type type) { return type == Type::Hello || type == Type::Welcome; }
bool carriesSequence(Type type) { return type == Type::Batch || type == Type::Ack; }
bool carriesConfirmed(Type type) { return type == Type::Batch || type == Type::Confirm || type == Type::Settled; }

} // namespace

std::string nameOf(Type type) { return NAMES[static_cast<std::size_t>(type)]; }

std::string encode(const Message& message) {
    JsonObject object;
    object.putString(u"type", UtfUtils::utf8ToUtf16(nameOf(message.type)));
    if (carriesId(message.type))
        object.putString(u"id", UtfUtils::utf8ToUtf16(message.id));
    if (carriesSequence(message.type))
        object.putLongLong(u"sequence", static_cast<std::int64_t>(message.sequence));
    if (carriesConfirmed(message.type))
        object.putLongLong(u"confirmed", static_cast<std::int64_t>(message.confirmed));
    std::string payload = UtfUtils::utf16ToUtf8(object.toJsonString());
    if (message.type == Type::Batch) { // the events are JSON already
        payload.back() = ',';
        payload += "\"events\":[";
        for (const std::string& event : message.events) {
            payload += event;
            payload += ',';
        }
        payload.back() = ']';
        payload += '}';
    }
    return makeFrame(payload);
}

Message decode(const std::string& payload) {
    const auto object = parse(payload);
    Message message;
    message.type = typeOf(*object);
    if (carriesId(message.type))
        message.id = idOf(*object);
    if (carriesSequence(message.type))
        message.sequence = numberOf(*object, u"sequence", 1);
    if (carriesConfirmed(message.type))
        message.confirmed = numberOf(*object, u"confirmed", 0);
    if (message.type == Type::Batch) {
        if (message.confirmed >= message.sequence)
            throw ProtocolError("a batch that is confirmed before it came");
        message.events = eventsOf(*object);
    }
    return message;
}

bool isId(const std::string& text) {
    const auto isAllowed = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-';
    };
    return !text.empty() && text.size() <= LONGEST_ID && std::all_of(text.begin(), text.end(), isAllowed);
}

std::string makeId() {
    std::random_device random;
    std::string id;
    for (int i = 0; i < 32; ++i)
        id += "0123456789abcdef"[random() & 15];
    return id;
}

} // namespace wire

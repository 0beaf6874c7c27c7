#include "DeliveryState.h"

#include "wire/Message.h"

#include "base/JsonArray.h"
#include "base/JsonObject.h"
#include "base/JsonUtil.h"
#include "base/UtfUtils.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <utility>

namespace shipper {
namespace {

using norq_std::JsonArray;
using norq_std::JsonObject;
using norq_std::WString;
using Guard = norq_std::AutoLock<norq_std::Lock>;

constexpr const char* FILE_NAME = "delivery.json";
constexpr std::ptrdiff_t LEFT_FILES_KNOWN = 16; // of a path

/// Bytes of any kind as text, a unit each: a path need not be UTF-8.
WString widen(const std::string& bytes) {
    WString text;
    for (const char byte : bytes)
        text += static_cast<char16_t>(static_cast<unsigned char>(byte));
    return text;
}

std::string narrow(const WString& text) {
    std::string bytes;
    for (const char16_t unit : text)
        bytes += static_cast<char>(unit);
    return bytes;
}

/// 64 bits do not fit into a JSON number, so all numbers here are texts.
void put(JsonObject& object, const WString& key, std::uint64_t value) {
    object.putString(key, widen(std::to_string(value)));
}

std::uint64_t number(const JsonObject& object, const WString& key) {
    const std::string text = narrow(object.getString(key, u""));
    std::uint64_t value = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || parsed.ec != std::errc() || parsed.ptr != text.data() + text.size())
        throw std::invalid_argument("no sound \"" + narrow(key) + "\"");
    return value;
}

std::shared_ptr<JsonObject> placeToJson(const SourcePlace& place) {
    auto object = std::make_shared<JsonObject>();
    object->putString(u"path", widen(place.path));
    put(*object, u"device", place.device);
    put(*object, u"inode", place.inode);
    put(*object, u"offset", place.offset);
    put(*object, u"line", place.line);
    put(*object, u"part", place.part);
    put(*object, u"headBytes", place.headBytes);
    put(*object, u"head", place.head);
    put(*object, u"tailBytes", place.tailBytes);
    put(*object, u"tail", place.tail);
    object->putBoolean(u"left", place.left);
    return object;
}

SourcePlace placeFromJson(const JsonObject& object) {
    SourcePlace place;
    place.path = narrow(object.getString(u"path", u""));
    place.device = number(object, u"device");
    place.inode = number(object, u"inode");
    place.offset = number(object, u"offset");
    place.line = number(object, u"line");
    place.part = static_cast<std::uint32_t>(number(object, u"part"));
    place.headBytes = number(object, u"headBytes");
    place.head = number(object, u"head");
    place.tailBytes = number(object, u"tailBytes");
    place.tail = number(object, u"tail");
    place.left = object.getBoolean(u"left", false);
    return place;
}

} // namespace

DeliveryState::DeliveryState(const std::string& path, wire::DurableFolder::StepHook hook)
    : folder(path, std::move(hook)) {
    const auto text = folder.read(FILE_NAME);
    if (text) {
        try {
            load(*text);
        } catch (const norq_std::NorqException& failure) {
            throw std::runtime_error(path + "/" + FILE_NAME + " cannot be read: " + narrow(failure.getMessage()));
        } catch (const std::logic_error& failure) {
            throw std::runtime_error(path + "/" + FILE_NAME + " cannot be read: " + failure.what());
        }
        return;
    }
    agent = wire::makeId();
    changed = true;
    save();
}

void DeliveryState::load(const std::string& text) {
    const auto value = norq_std::JsonUtil::parseJson(norq_std::UtfUtils::utf8ToUtf16(text));
    const auto object = std::dynamic_pointer_cast<JsonObject>(value);
    const auto known = object ? object->getObject(u"collectors") : nullptr;
    const auto files = object ? object->getArray(u"places") : nullptr;
    if (!known || !files)
        throw std::invalid_argument("it is not the state of an agent");
    agent = narrow(object->getString(u"agent", u""));
    if (!wire::isId(agent))
        throw std::invalid_argument("no sound \"agent\"");
    sequence = number(*object, u"sequence");
    for (const auto& [id, record] : *known) {
        const auto fields = std::dynamic_pointer_cast<JsonObject>(record);
        if (!fields)
            throw std::invalid_argument("a collector that is no object");
        collectors[narrow(id)] = {narrow(fields->getString(u"address", u"")), number(*fields, u"delivered"),
                                  number(*fields, u"settled")};
    }
    for (const auto& element : *files) {
        const auto fields = std::dynamic_pointer_cast<JsonObject>(element);
        if (!fields)
            throw std::invalid_argument("a place that is no object");
        places.push_back(placeFromJson(*fields));
    }
}

std::string DeliveryState::describe() const {
    JsonObject object;
    object.putString(u"agent", widen(agent));
    put(object, u"sequence", sequence);
    const auto known = std::make_shared<JsonObject>();
    for (const auto& [id, collector] : collectors) {
        const auto fields = std::make_shared<JsonObject>();
        fields->putString(u"address", widen(collector.address));
        put(*fields, u"delivered", collector.delivered);
        put(*fields, u"settled", collector.settled);
        known->put(widen(id), fields);
    }
    object.put(u"collectors", known);
    const auto files = std::make_shared<JsonArray>();
    for (const SourcePlace& place : places)
        files->add(placeToJson(place));
    object.put(u"places", files);
    return norq_std::UtfUtils::utf16ToUtf8(object.toJsonString()) + "\n";
}

std::uint64_t DeliveryState::getSequence() const {
    const Guard guard(lock);
    return sequence;
}

std::uint64_t DeliveryState::deliveredTo(const std::string& collector) const {
    const Guard guard(lock);
    if (failed)
        throw std::runtime_error("what is delivered could not be recorded");
    const auto found = collectors.find(collector);
    return found == collectors.end() ? 0 : found->second.delivered;
}

std::map<std::string, KnownCollector> DeliveryState::getCollectors() const {
    const Guard guard(lock);
    return collectors;
}

std::vector<SourcePlace> DeliveryState::placesOf(const std::string& path) const {
    const Guard guard(lock);
    std::vector<SourcePlace> found;
    std::copy_if(places.begin(), places.end(), std::back_inserter(found),
                 [&](const SourcePlace& place) { return place.path == path; });
    return found;
}

void DeliveryState::advance(const SourcePlace& place) {
    const auto isSame = [&](const SourcePlace& known) {
        return known.path == place.path && known.isFile(place.device, place.inode);
    };
    const auto found = std::find_if(places.begin(), places.end(), isSame);
    if (found == places.end()) {
        places.push_back(place);
    } else if (found->left == place.left) {
        *found = place;
    } else { // a file that was left is behind those that were left before, one that is read anew behind all
        places.erase(found);
        places.push_back(place);
    }
    if (!place.left)
        return;
    const auto isLeft = [&](const SourcePlace& known) { return known.path == place.path && known.left; };
    if (std::count_if(places.begin(), places.end(), isLeft) > LEFT_FILES_KNOWN)
        places.erase(std::find_if(places.begin(), places.end(), isLeft));
}

void DeliveryState::recordBegin(const SourcePlace& place) {
    const Guard guard(lock);
    advance(place);
    changed = true;
    save();
}

void DeliveryState::recordDelivered(std::uint64_t number, const std::string& collector, const std::string& address,
                                    const std::vector<SourcePlace>& advanced) {
    const Guard guard(lock);
    sequence = number;
    collectors[collector].address = address;
    collectors[collector].delivered = number;
    for (const SourcePlace& place : advanced)
        advance(place);
    changed = true;
    save();
}

void DeliveryState::recordSettled(const std::string& collector, std::uint64_t number) {
    const Guard guard(lock);
    const auto found = collectors.find(collector);
    if (found == collectors.end() || found->second.settled == number)
        return;
    found->second.settled = number;
    changed = true;
}

void DeliveryState::recordPlaces(const std::vector<SourcePlace>& advanced) {
    const Guard guard(lock);
    for (const SourcePlace& place : advanced)
        advance(place);
    changed = changed || !advanced.empty();
}

void DeliveryState::save() {
    const Guard guard(lock);
    if (!std::exchange(changed, false))
        return;
    failed = true; // unless this returns: what the disk holds is not known then
    folder.replace(FILE_NAME, describe());
    failed = false;
}

} // namespace shipper

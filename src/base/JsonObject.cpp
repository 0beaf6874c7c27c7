#include "base/JsonObject.h"

#include "base/JsonArray.h"
#include "base/JsonLiteral.h"
#include "base/JsonNumber.h"
#include "base/JsonString.h"
#include "internal/JsonTeardown.h"
#include "internal/JsonWriter.h"

#include <cmath>
#include <limits>
#include <utility>

namespace norq_std {

namespace {

template <class T>
const T* find(const JsonObject& object, const JsonObject::const_iterator& position) {
    return position == object.end() ? nullptr : dynamic_cast<const T*>(position->second.get());
}

template <class T>
std::shared_ptr<T> share(const JsonObject& object, const JsonObject::const_iterator& position) {
    return position == object.end() ? nullptr : std::dynamic_pointer_cast<T>(position->second);
}

template <class Integer>
Integer toInteger(double number) {
    constexpr double least = static_cast<double>(std::numeric_limits<Integer>::min());
    if (std::isnan(number))
        return 0;
    if (number < least)
        return std::numeric_limits<Integer>::min();
    if (number >= -least) // the first value above the range; the last inside need not be a double
        return std::numeric_limits<Integer>::max();
    return static_cast<Integer>(number);
}

} // namespace

JsonObject::~JsonObject() {
    norq_std_internal::JsonTeardown teardown;
    if (teardown.isDeep())
        for (auto& [key, value] : values)
            teardown.defer(value);
    values.clear();
}

WString JsonObject::toJsonString() const { return norq_std_internal::JsonWriter::write(*this); }

void JsonObject::put(const WString& key, const std::shared_ptr<JsonAware>& value) {
    values.insert_or_assign(key, value);
}

void JsonObject::put(WString&& key, std::shared_ptr<JsonAware>&& value) {
    // One search of the map, whether the key is new or not; ascending keys need none.
    values.emplace_hint(values.end(), std::move(key), nullptr)->second = std::move(value);
}

void JsonObject::putDouble(const WString& key, double value) { put(key, std::make_shared<JsonNumber>(value)); }

void JsonObject::putInteger(const WString& key, std::int32_t value) { putDouble(key, value); }

void JsonObject::putLongLong(const WString& key, std::int64_t value) { putDouble(key, static_cast<double>(value)); }

void JsonObject::putString(const WString& key, const WString& value) { put(key, std::make_shared<JsonString>(value)); }

void JsonObject::putBoolean(const WString& key, bool value) {
    put(key, value ? JsonLiteral::True : JsonLiteral::False);
}

void JsonObject::putAll(const std::shared_ptr<JsonObject>& other) {
    if (other == nullptr || other.get() == this)
        return;
    for (const auto& [key, value] : other->values)
        values.insert_or_assign(key, value);
}

std::shared_ptr<JsonAware> JsonObject::get(const WString& key) const {
    const auto position = values.find(key);
    return position == values.end() ? nullptr : position->second;
}

double JsonObject::getDouble(const WString& key, double defaultValue) const {
    const auto* number = find<JsonNumber>(*this, values.find(key));
    return number == nullptr ? defaultValue : number->value();
}

std::int32_t JsonObject::getInteger(const WString& key, std::int32_t defaultValue) const {
    const auto* number = find<JsonNumber>(*this, values.find(key));
    return number == nullptr ? defaultValue : toInteger<std::int32_t>(number->value());
}

std::int64_t JsonObject::getLongLong(const WString& key, std::int64_t defaultValue) const {
    const auto* number = find<JsonNumber>(*this, values.find(key));
    return number == nullptr ? defaultValue : toInteger<std::int64_t>(number->value());
}

WString JsonObject::getString(const WString& key, const WString& defaultValue) const {
    const auto* string = find<JsonString>(*this, values.find(key));
    return string == nullptr ? defaultValue : string->str();
}

bool JsonObject::getBoolean(const WString& key, bool defaultValue) const {
    const auto* literal = find<JsonLiteral>(*this, values.find(key));
    return literal == nullptr ? defaultValue : *literal == *JsonLiteral::True;
}

std::shared_ptr<JsonObject> JsonObject::getObject(const WString& key) const {
    return share<JsonObject>(*this, values.find(key));
}

std::shared_ptr<JsonArray> JsonObject::getArray(const WString& key) const {
    return share<JsonArray>(*this, values.find(key));
}

bool JsonObject::contains(const WString& key) const { return values.find(key) != values.end(); }

} // namespace norq_std

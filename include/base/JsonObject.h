#pragma once

#include "base/JsonAware.h"
#include "base/JsonNodePool.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace norq_std {

class JsonArray;

/// A JSON object: values under unique keys, iterated and written in the order of the keys by wide unit.
///
/// An entry may be a null pointer; it is written as `null`. Writing and destroying take constant stack, however deep
/// the nesting is; an object that contains itself can be neither written nor released.
class NORQSTD_EXPORT JsonObject : public JsonAware {
public:
    using Values = std::map<WString, std::shared_ptr<JsonAware>, std::less<>,
                            detail::JsonNodeAllocator<std::pair<const WString, std::shared_ptr<JsonAware>>>>;
    using iterator = Values::iterator;
    using const_iterator = Values::const_iterator;

    JsonObject()
        : values(Values::allocator_type(nodes)) {}
    JsonObject(const JsonObject&) = delete;
    JsonObject& operator=(const JsonObject&) = delete;

    WString toJsonString() const override;
    ~JsonObject() override;

    /// Inserts the value, or replaces the one that is there.
    void put(const WString& key, const std::shared_ptr<JsonAware>& value);
    void put(WString&& key, std::shared_ptr<JsonAware>&& value);
    /// Each puts a new value of its kind; integers become doubles.
    void putDouble(const WString& key, double value);
    void putInteger(const WString& key, std::int32_t value);
    void putLongLong(const WString& key, std::int64_t value);
    void putString(const WString& key, const WString& value);
    /// Puts one of the shared literals.
    void putBoolean(const WString& key, bool value);
    /// Puts every entry of the other object; a null pointer does nothing.
    void putAll(const std::shared_ptr<JsonObject>& other);

    /// The value, null if the key is absent.
    std::shared_ptr<JsonAware> get(const WString& key) const;
    /// The value under the key; the default if it is absent, null or of another kind. The integer forms cut the
    /// fraction off, and give the nearest integer of their range for what lies outside, 0 for a number that is none.
    double getDouble(const WString& key, double defaultValue) const;
    std::int32_t getInteger(const WString& key, std::int32_t defaultValue) const;
    std::int64_t getLongLong(const WString& key, std::int64_t defaultValue) const;
    WString getString(const WString& key, const WString& defaultValue) const;
    /// Whether the literal under the key is true; so null is false.
    bool getBoolean(const WString& key, bool defaultValue) const;
    /// The value as that kind; null if the key is absent, its value null or of another kind.
    std::shared_ptr<JsonObject> getObject(const WString& key) const;
    std::shared_ptr<JsonArray> getArray(const WString& key) const;
    /// Whether the key is there, be its value null or not.
    bool contains(const WString& key) const;

    std::size_t size() const { return values.size(); }
    bool empty() const { return values.empty(); }
    iterator begin() { return values.begin(); }
    const_iterator begin() const { return values.begin(); }
    iterator end() { return values.end(); }
    const_iterator end() const { return values.end(); }
    /// Removes one entry and gives the position behind it.
    iterator erase(const_iterator position) { return values.erase(position); }
    void clear() { values.clear(); }
    /// Prepares an empty object for this many entries.
    void reserve(std::size_t count) { nodes.expect(count); }

private:
    detail::JsonNodePool nodes;
    Values values;
};

} // namespace norq_std

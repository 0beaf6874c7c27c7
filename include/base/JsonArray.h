#pragma once

#include "base/JsonAware.h"

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace norq_std {

/// A JSON array: values in the order of insertion.
///
/// An element may be a null pointer; it is written as `null`. Writing and destroying take constant stack, however deep
/// the nesting is; an array that contains itself can be neither written nor released.
class NORQSTD_EXPORT JsonArray : public JsonAware {
public:
    using Values = std::vector<std::shared_ptr<JsonAware>>;
    using iterator = Values::iterator;
    using const_iterator = Values::const_iterator;

    JsonArray() = default;
    explicit JsonArray(Values&& elements) noexcept
        : values(std::move(elements)) {}
    JsonArray(const JsonArray&) = delete;
    JsonArray& operator=(const JsonArray&) = delete;

    WString toJsonString() const override;
    ~JsonArray() override;

    void add(const std::shared_ptr<JsonAware>& value);
    void add(std::shared_ptr<JsonAware>&& value);
    /// Each appends a new value of its kind; integers become doubles.
    void addDouble(double value);
    void addInteger(std::int32_t value);
    void addLongLong(std::int64_t value);
    void addString(const WString& value);

    std::size_t size() const { return values.size(); }
    bool empty() const { return values.empty(); }
    iterator begin() { return values.begin(); }
    const_iterator begin() const { return values.begin(); }
    iterator end() { return values.end(); }
    const_iterator end() const { return values.end(); }
    /// Removes one element and gives the position behind it; all positions from there on become invalid.
    iterator erase(const_iterator position) { return values.erase(position); }
    void clear() { values.clear(); }

private:
    Values values;
};

} // namespace norq_std

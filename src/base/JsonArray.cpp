#include "base/JsonArray.h"

#include "base/JsonNumber.h"
#include "base/JsonString.h"
#include "internal/JsonTeardown.h"
#include "internal/JsonWriter.h"

#include <utility>

namespace norq_std {

JsonArray::~JsonArray() {
    norq_std_internal::JsonTeardown teardown;
    if (teardown.isDeep())
        for (auto& value : values)
            teardown.defer(value);
    values.clear();
}

WString JsonArray::toJsonString() const { return norq_std_internal::JsonWriter::write(*this); }

void JsonArray::add(const std::shared_ptr<JsonAware>& value) { values.push_back(value); }

void JsonArray::add(std::shared_ptr<JsonAware>&& value) { values.push_back(std::move(value)); }

void JsonArray::addDouble(double value) { values.push_back(std::make_shared<JsonNumber>(value)); }

void JsonArray::addInteger(std::int32_t value) { addDouble(value); }

void JsonArray::addLongLong(std::int64_t value) { addDouble(static_cast<double>(value)); }

void JsonArray::addString(const WString& value) { values.push_back(std::make_shared<JsonString>(value)); }

} // namespace norq_std

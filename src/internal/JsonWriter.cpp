#include "internal/JsonWriter.h"

#include "base/JsonLiteral.h"
#include "base/JsonNumber.h"
#include "base/JsonString.h"

#include <typeinfo>

namespace norq_std_internal {

using norq_std::JsonArray;
using norq_std::JsonAware;
using norq_std::JsonNumber;
using norq_std::JsonObject;
using norq_std::JsonString;
using norq_std::WString;

namespace {

// Type information is one object in the process for each of the library's classes. Were it not, the value would write
// itself: slower, and the same text.
template <class T>
bool isExactly(const std::type_info& type) {
    return &type == &typeid(T);
}

} // namespace

WString JsonWriter::write(const JsonArray& array) {
    JsonWriter writer;
    writer.open(array);
    writer.writeLevels();
    return std::move(writer.text);
}

WString JsonWriter::write(const JsonObject& object) {
    JsonWriter writer;
    writer.open(object);
    writer.writeLevels();
    return std::move(writer.text);
}

void JsonWriter::open(const JsonArray& array) {
    out.put(u'[');
    levels.push_back({false, array.begin(), array.end(), {}, {}});
}

void JsonWriter::open(const JsonObject& object) {
    out.put(u'{');
    levels.push_back({true, {}, {}, object.begin(), object.end()});
}

void JsonWriter::writeLevels() {
    bool first = true;
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.isObject ? level.entry == level.lastEntry : level.element == level.lastElement) {
            out.put(level.isObject ? u'}' : u']');
            levels.pop_back();
            first = false;
            continue;
        }
        if (!first)
            out.put(u',');
        const JsonAware* value;
        if (level.isObject) {
            out.appendString(level.entry->first);
            out.put(u':');
            value = level.entry->second.get();
            ++level.entry;
        } else {
            value = level.element->get();
            ++level.element;
        }
        const std::size_t depth = levels.size();
        writeValue(value);
        first = levels.size() > depth;
    }
    out.flush();
}

void JsonWriter::writeValue(const JsonAware* value) {
    if (value == nullptr) {
        out.append(u"null", 4);
        return;
    }
    const std::type_info& type = typeid(*value);
    if (isExactly<JsonString>(type)) {
        out.appendString(static_cast<const JsonString*>(value)->str());
    } else if (isExactly<JsonNumber>(type)) {
        out.appendNumber(static_cast<const JsonNumber*>(value)->value());
    } else if (isExactly<JsonObject>(type)) {
        open(*static_cast<const JsonObject*>(value));
    } else if (isExactly<JsonArray>(type)) {
        open(*static_cast<const JsonArray*>(value));
    } else {
        const WString written = value->toJsonString();
        out.append(written.data(), written.size());
    }
}

} // namespace norq_std_internal

#include "internal/JsonWriter.h"

#include "base/JsonNumber.h"
#include "base/JsonString.h"

#include <typeinfo>
#include <utility>

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
    return writer.finish();
}

WString JsonWriter::write(const JsonObject& object) {
    JsonWriter writer;
    writer.open(object);
    return writer.finish();
}

void JsonWriter::open(const JsonArray& array) {
    out.put(u'[');
    levels.push_back({.isObject = false, .element = array.begin(), .lastElement = array.end()});
}

void JsonWriter::open(const JsonObject& object) {
    out.put(u'{');
    levels.push_back({.isObject = true, .entry = object.begin(), .lastEntry = object.end()});
}

WString JsonWriter::finish() {
    while (!levels.empty()) {
        if (levels.back().isObject)
            writeEntries();
        else
            writeElements();
    }
    out.flush();
    return std::move(text);
}

void JsonWriter::writeElements() {
    Level& level = levels.back();
    for (auto element = level.element; element != level.lastElement;) {
        if (level.begun)
            out.put(u',');
        level.begun = true;
        const JsonAware* value = element->get();
        level.element = ++element;
        if (!writeValue(value))
            return;
    }
    out.put(u']');
    levels.pop_back();
}

void JsonWriter::writeEntries() {
    Level& level = levels.back();
    for (auto entry = level.entry; entry != level.lastEntry;) {
        if (level.begun)
            out.put(u',');
        level.begun = true;
        out.appendString(entry->first);
        out.put(u':');
        const JsonAware* value = entry->second.get();
        level.entry = ++entry;
        if (!writeValue(value))
            return;
    }
    out.put(u'}');
    levels.pop_back();
}

bool JsonWriter::writeValue(const JsonAware* value) {
    if (value == nullptr) {
        out.append(u"null", 4);
        return true;
    }
    const std::type_info& type = typeid(*value);
    if (isExactly<JsonObject>(type)) {
        open(*static_cast<const JsonObject*>(value));
        return false;
    }
    if (isExactly<JsonArray>(type)) {
        open(*static_cast<const JsonArray*>(value));
        return false;
    }
    if (isExactly<JsonString>(type)) {
        out.appendString(static_cast<const JsonString*>(value)->str());
    } else if (isExactly<JsonNumber>(type)) {
        out.appendNumber(static_cast<const JsonNumber*>(value)->value());
    } else {
        const WString written = value->toJsonString();
        out.append(written.data(), written.size());
    }
    return true;
}

} // namespace norq_std_internal

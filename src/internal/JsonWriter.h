#pragma once

#include "base/JsonArray.h"
#include "base/JsonObject.h"
#include "internal/JsonOutput.h"

#include <vector>

namespace norq_std_internal {

/// Writes arrays and objects as JSON text, with a stack of its own in place of recursion.
///
/// The library's own values are written in place; a value of any other class writes itself through `toJsonString`.
class JsonWriter {
public:
    static norq_std::WString write(const norq_std::JsonArray& array);
    static norq_std::WString write(const norq_std::JsonObject& object);

private:
    /// A container of which some values are written.
    struct Level {
        bool isObject;
        bool begun = false;
        norq_std::JsonArray::const_iterator element = {};
        norq_std::JsonArray::const_iterator lastElement = {};
        norq_std::JsonObject::const_iterator entry = {};
        norq_std::JsonObject::const_iterator lastEntry = {};
    };

    void open(const norq_std::JsonArray& array);
    void open(const norq_std::JsonObject& object);
    /// Writes what is opened, and all below it.
    norq_std::WString finish();
    /// Write on in the innermost container, to its end or until a value in it is opened.
    void writeElements();
    void writeEntries();
    /// Writes a value that has no parts; otherwise opens it and gives false.
    bool writeValue(const norq_std::JsonAware* value);

    norq_std::WString text;
    JsonOutput out{text};
    std::vector<Level> levels;
};

} // namespace norq_std_internal

#pragma once

#include "base/JsonArray.h"
#include "base/JsonObject.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace norq_std_internal {

/// Reads one JSON value from the front of a text, with a stack of its own in place of recursion. Serves once.
class JsonParser {
public:
    /// The text must outlive the parser.
    explicit JsonParser(const norq_std::WString& text);

    std::shared_ptr<norq_std::JsonAware> parse();

private:
    using WChar = norq_std::WChar;
    using Value = std::shared_ptr<norq_std::JsonAware>;

    /// A container that is not closed yet. An array's elements wait in `elements` until it closes, and so are stored in
    /// a list of the right size.
    struct Level {
        std::shared_ptr<norq_std::JsonObject> object; ///< null for an array
        norq_std::WString key;                        ///< of the value that is being read
        std::size_t firstElement = 0;
    };

    /// Reads a value that has no parts and gives true, or opens a container up to its first value.
    bool beginValue(Value& value);
    /// Puts a value into the innermost container. True if that closes it: `value` is then the container.
    bool endValue(Value& value);
    bool endElement(Value& value);
    bool endEntry(Value& value);

    bool beginArray(Value& value);
    bool beginObject(Value& value);
    void readKey();
    norq_std::WString readString();
    Value readNumber();
    Value readLiteral();

    void skipSpace();
    /// Skips white space in front of something that must follow.
    void skipSpaceToUnit();
    /// The unit at the position, which may be the end of the text.
    WChar checkedUnit() const;
    void checkDepth() const;

    const norq_std::WString& text;
    const WChar* position;
    const WChar* const end;
    std::vector<Level> levels;
    std::vector<Value> elements;
};

} // namespace norq_std_internal

#pragma once

#include "base/JsonArray.h"
#include "base/JsonObject.h"
#include "base/WideChar.h"
#include "internal/JsonValueBlock.h"

#include <cstddef>
#include <memory>
#include <string_view>
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

    /// A container that is not closed yet. Its values wait in `elements` or `entries`, from `first` on, until it
    /// closes, and so find room of the right size. The last of them is the one that is being read.
    struct Level {
        bool isObject;
        std::size_t first;
    };
    struct Entry {
        norq_std::WString key;
        Value value;
    };

    /// Where the value belongs that is being read.
    Value& slot() {
        if (levels.empty())
            return root;
        return levels.back().isObject ? entries.back().value : elements.back();
    }

    /// Reads a value into its slot and gives true, or opens a container up to its first value.
    bool readValue();
    bool openArray();
    bool openObject();
    /// Reads what stands behind a value. True if that closes the container, which then is in its own slot.
    bool endElement();
    bool endEntry();
    void closeArray();
    void closeObject();

    void beginEntry();
    void readString();
    void readNumber();
    void readLiteral();
    /// Steps over a string and gives its text without the quotes; `escaped` says that it holds backslashes.
    std::u16string_view scanString(bool& escaped);

    void skipSpace() {
        while (position != end && norq_std::WideChar::isSpace(*position))
            ++position;
    }
    /// Skips white space in front of something that must follow.
    void skipSpaceToUnit() {
        skipSpace();
        if (position == end) [[unlikely]]
            failAtEnd();
    }
    /// The unit at the position, which may be the end of the text.
    WChar checkedUnit() const { return text.at(static_cast<std::size_t>(position - text.data())); }
    [[noreturn]] void failAtEnd() const;
    void checkDepth() const;

    const norq_std::WString& text;
    const WChar* position;
    const WChar* const end;
    Value root;
    std::vector<Level> levels;
    std::vector<Value> elements;
    std::vector<Entry> entries;
    JsonValueMaker maker;
};

} // namespace norq_std_internal

#pragma once

#include "base/JsonAware.h"

#include <cstddef>
#include <memory>

namespace norq_std {

/// Reads JSON text. Static operations without state; any thread may call them.
class NORQSTD_EXPORT JsonUtil {
public:
    /// How deep arrays and objects may be nested in a text.
    static constexpr std::size_t maximumDepth = 10000;

    /// The first value of the text; null if the text is empty or white space alone. What follows the value is not
    /// looked at.
    ///
    /// The grammar is JSON's, with these liberties: a string may lack its closing quote and may hold control
    /// characters, an array may end in a comma, a number is whatever `JsonNumber::fromString` takes, a repeated key
    /// keeps its last value. White space between "[" and "]" or "{" and "}" of an empty array or object is refused.
    ///
    /// A text that breaks the grammar, or is nested deeper than `maximumDepth`, throws `NorqIllegalArgumentException`;
    /// one that ends behind "[", "{" or a comma throws `std::out_of_range`.
    static std::shared_ptr<JsonAware> parseJson(const WString& text);

private:
    JsonUtil() = default;
};

} // namespace norq_std

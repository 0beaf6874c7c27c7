#pragma once

#include "base/WideChar.h"

#include <string_view>

namespace norq_std_internal {

/// The text without the white space at its end.
inline std::u16string_view trimmedRight(std::u16string_view text) {
    while (!text.empty() && norq_std::WideChar::isSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

/// The text without the white space at both ends.
inline std::u16string_view trimmed(std::u16string_view text) {
    text = trimmedRight(text);
    while (!text.empty() && norq_std::WideChar::isSpace(text.front()))
        text.remove_prefix(1);
    return text;
}

} // namespace norq_std_internal

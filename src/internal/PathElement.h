#pragma once

#include "base/WString.h"
#include "base/WideChar.h"

#include <string_view>

namespace norq_std_internal {

/// Why a text cannot be an element of a path that is neither a root nor "." or ".."; null if it can.
inline const norq_std::WChar* pathElementFault(std::u16string_view element) {
    constexpr std::u16string_view Forbidden = u"*?<>|\"";
    std::size_t at = 0;
    for (const norq_std::WChar unit : element) {
        if (unit < 32 || (unit < 0x80 && Forbidden.find(unit) != std::u16string_view::npos) ||
            (unit == u':' && at >= 2))
            return u"Path contains invalid characters.";
        ++at;
    }
    if (!element.empty() && (element.back() == u'.' || norq_std::WideChar::isSpace(element.back())))
        return u"Path ends with '.' or whitespace.";
    return nullptr;
}

/// Whether a directory entry's name is taken into listings: it holds no separator, as all such names. A drive, "c:",
/// would turn into a root as soon as something follows it.
inline bool isListedName(std::u16string_view name) {
    return pathElementFault(name) == nullptr &&
           !(name.size() == 2 && norq_std::WideChar::isAsciiAlpha(name[0]) && name[1] == u':');
}

} // namespace norq_std_internal

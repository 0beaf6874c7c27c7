#pragma once

#include "base/WString.h"

namespace norq_std_internal {

/// The first quote or backslash of a range, `end` where there is none.
const norq_std::WChar* findQuoteOrBackslash(const norq_std::WChar* text, const norq_std::WChar* end);

/// The first unit of a range that has, or may have, an escaped form; `end` where there is none.
const norq_std::WChar* findEscapable(const norq_std::WChar* text, const norq_std::WChar* end);

/// The letter of the backslash form of a unit, 0 if it goes through as it is.
norq_std::WChar escapeLetter(norq_std::WChar unit);

/// `JsonString::unescape` of a range.
norq_std::WString unescapeJson(const norq_std::WChar* text, const norq_std::WChar* end);

} // namespace norq_std_internal

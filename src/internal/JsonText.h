#pragma once

#include "base/WString.h"

#include <string_view>

namespace norq_std_internal {

/// The letter of the backslash form of a unit, 0 if it goes through as it is.
norq_std::WChar escapeLetter(norq_std::WChar unit);

/// As `JsonString::unescape`.
norq_std::WString unescapeJson(std::u16string_view text);

} // namespace norq_std_internal

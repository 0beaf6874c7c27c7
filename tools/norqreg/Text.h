#pragma once

#include "base/JsonAware.h"
#include "base/WString.h"

#include <string>
#include <string_view>

namespace norqreg {

using norq_std::WChar;
using norq_std::WString;

/// Throws `Failure` (`WRONG_USAGE`) for bytes that are not UTF-8.
WString widen(std::string_view bytes);
/// UTF-8; half of a surrogate pair becomes U+FFFD.
std::string narrow(const WString& text);

/// The text as it stands in a list: as it is, or between double quotes with the escapes of JSON where it would not be
/// seen for what it is. That is an empty text, one with blanks at an end or double quotes, with what a terminal would
/// not show or would obey, or half of a surrogate pair.
std::string readable(const WString& text);
/// The same for what stands in front of the equals sign of a list.
std::string readableName(const WString& name);

/// One line of JSON; half of a surrogate pair is written as an escape, so that this is UTF-8 in any case.
std::string jsonLine(const norq_std::JsonAware& value);

} // namespace norqreg

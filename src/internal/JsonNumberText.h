#pragma once

#include "base/WString.h"

#include <cstddef>

namespace norq_std_internal {

/// Room for the longest text of a number.
constexpr std::size_t jsonNumberSize = 32;

/// Writes the text of `JsonNumber::toString` and gives its length.
std::size_t writeJsonNumber(double number, char (&text)[jsonNumberSize]);

/// Reads the common short forms, a fraction among them, from the front of a range and gives the end of the number; null
/// for anything else, malformed text included.
const norq_std::WChar* readShortJsonNumber(const norq_std::WChar* text, const norq_std::WChar* end, double& number);

/// `JsonNumber::fromString` of a range.
double readJsonNumber(const norq_std::WChar* text, const norq_std::WChar* end);

} // namespace norq_std_internal

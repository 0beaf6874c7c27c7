#include "base/WideChar.h"

#include <unicode/uchar.h>

namespace norq_std {

namespace {

/// Simple case mappings stay in the Basic Multilingual Plane; should one ever leave it, the unit has no other case.
WChar inOneUnit(UChar32 mapped, WChar original) { return mapped <= 0xFFFF ? static_cast<WChar>(mapped) : original; }

} // namespace

bool WideChar::isWideAlpha(WChar unit) { return u_isalpha(unit) != 0; }

bool WideChar::isWideDigit(WChar unit) { return u_isdigit(unit) != 0; }

WChar WideChar::toWideUpper(WChar unit) { return inOneUnit(u_toupper(unit), unit); }

WChar WideChar::toWideLower(WChar unit) { return inOneUnit(u_tolower(unit), unit); }

} // namespace norq_std

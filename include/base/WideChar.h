#pragma once

#include "base/Export.h"
#include "base/WString.h"

namespace norq_std {

/// Classes and case of a single wide unit: the one place that the library asks.
///
/// The answers are those of the Unicode character of that number, whatever locale the process runs in. Half of a
/// surrogate pair is in no class and has no other case. ASCII is answered inline. Any thread may call.
class NORQSTD_EXPORT WideChar {
public:
    WideChar() = delete;

    /// White space, the no-break spaces and the line and paragraph separators included.
    static constexpr bool isSpace(WChar unit) {
        if (unit < 0x80) [[likely]]
            return unit == u' ' || (unit >= u'\t' && unit <= u'\r');
        return unit == 0x85 || unit == 0xA0 || unit == 0x1680 || (unit >= 0x2000 && unit <= 0x200A) || unit == 0x2028 ||
               unit == 0x2029 || unit == 0x202F || unit == 0x205F || unit == 0x3000;
    }

    static bool isAlpha(WChar unit) { return unit < 0x80 ? isAsciiAlpha(unit) : isWideAlpha(unit); }

    /// A decimal digit of any script; `isAsciiDigit` is the test for 0 to 9.
    static bool isDigit(WChar unit) { return unit < 0x80 ? isAsciiDigit(unit) : isWideDigit(unit); }

    /// The other case where it is a single unit, else the unit itself.
    static WChar toUpper(WChar unit) {
        if (unit < 0x80) [[likely]]
            return unit >= u'a' && unit <= u'z' ? static_cast<WChar>(unit - 0x20) : unit;
        return toWideUpper(unit);
    }
    static WChar toLower(WChar unit) {
        if (unit < 0x80) [[likely]]
            return unit >= u'A' && unit <= u'Z' ? static_cast<WChar>(unit + 0x20) : unit;
        return toWideLower(unit);
    }

    static constexpr bool isAsciiDigit(WChar unit) { return unit >= u'0' && unit <= u'9'; }
    static constexpr bool isAsciiHexDigit(WChar unit) {
        return isAsciiDigit(unit) || ((unit | 0x20) >= u'a' && (unit | 0x20) <= u'f');
    }
    static constexpr bool isAsciiAlpha(WChar unit) { return (unit | 0x20) >= u'a' && (unit | 0x20) <= u'z'; }

private:
    static bool isWideAlpha(WChar unit);
    static bool isWideDigit(WChar unit);
    static WChar toWideUpper(WChar unit);
    static WChar toWideLower(WChar unit);
};

} // namespace norq_std

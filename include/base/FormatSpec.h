#pragma once

#include "base/WString.h"

#include <cstdint>

/// \file
/// The grammar of one conversion of the wide printf dialect (base/WideFormat.h), read in the same way by the compiler's
/// check and by the formatter. Not for use on its own.

namespace norq_std::detail {

/// What a conversion asks for.
enum class FormatConversion : std::uint8_t {
    SignedInteger,
    UnsignedInteger,
    Floating,
    WideUnit,
    NarrowUnit,
    WideText,
    NarrowText,
    Pointer,
};

enum class FormatLength : std::uint8_t { None, Byte, Half, Word, Long, Max, LongDouble };

struct FormatSpec {
    static constexpr std::int32_t none = -1;
    static constexpr std::int32_t fromArgument = -2;
    /// Widths and precisions of a format saturate here, behind the limit of every text that is meant.
    static constexpr std::int32_t largest = 100000000;

    bool left = false;
    bool plus = false;
    bool space = false;
    bool zero = false;
    bool alternate = false;
    FormatLength length = FormatLength::None;
    FormatConversion conversion = FormatConversion::SignedInteger;
    WChar letter = 0;
    std::int32_t width = none;
    std::int32_t precision = none;
};

enum class FormatError : std::uint8_t { None, Truncated, UnknownConversion, UnsuitableLength, WriteBack };

/// Reads digits or `*`; `value` stays as it is where there are none.
constexpr const WChar* readFormatNumber(const WChar* p, std::int32_t& value) {
    if (*p == u'*') {
        value = FormatSpec::fromArgument;
        return p + 1;
    }
    if (*p < u'0' || *p > u'9')
        return p;
    value = 0;
    for (; *p >= u'0' && *p <= u'9'; ++p)
        if (value < FormatSpec::largest)
            value = value * 10 + (*p - u'0');
    return p;
}

constexpr const WChar* readFormatLength(const WChar* p, FormatLength& length) {
    switch (*p) {
    case u'h':
        length = p[1] == u'h' ? FormatLength::Byte : FormatLength::Half;
        return p + (p[1] == u'h' ? 2 : 1);
    case u'l':
        length = p[1] == u'l' ? FormatLength::Max : FormatLength::Long;
        return p + (p[1] == u'l' ? 2 : 1);
    case u'j':
    case u'z':
    case u't':
        length = FormatLength::Max;
        return p + 1;
    case u'L':
        length = FormatLength::LongDouble;
        return p + 1;
    case u'I':
        if (p[1] == u'3' && p[2] == u'2') {
            length = FormatLength::Word;
            return p + 3;
        }
        length = FormatLength::Max;
        return p + (p[1] == u'6' && p[2] == u'4' ? 3 : 1);
    default:
        return p;
    }
}

constexpr FormatError classifyConversion(FormatSpec& spec) {
    const bool wide = spec.length == FormatLength::Long;
    const bool narrow = spec.length == FormatLength::Byte || spec.length == FormatLength::Half;
    const bool bare = spec.length == FormatLength::None;
    switch (spec.letter) {
    case u'd':
    case u'i':
        spec.conversion = FormatConversion::SignedInteger;
        return spec.length == FormatLength::LongDouble ? FormatError::UnsuitableLength : FormatError::None;
    case u'u':
    case u'o':
    case u'x':
    case u'X':
        spec.conversion = FormatConversion::UnsignedInteger;
        return spec.length == FormatLength::LongDouble ? FormatError::UnsuitableLength : FormatError::None;
    case u'e':
    case u'f':
    case u'g':
    case u'a':
    case u'E':
    case u'F':
    case u'G':
    case u'A':
        spec.conversion = FormatConversion::Floating;
        return bare || wide || spec.length == FormatLength::LongDouble ? FormatError::None
                                                                       : FormatError::UnsuitableLength;
    case u's':
    case u'S':
        spec.conversion =
            narrow || (bare && spec.letter == u'S') ? FormatConversion::NarrowText : FormatConversion::WideText;
        return bare || wide || narrow ? FormatError::None : FormatError::UnsuitableLength;
    case u'c':
    case u'C':
        spec.conversion =
            narrow || (bare && spec.letter == u'C') ? FormatConversion::NarrowUnit : FormatConversion::WideUnit;
        return bare || wide || narrow ? FormatError::None : FormatError::UnsuitableLength;
    case u'p':
        spec.conversion = FormatConversion::Pointer;
        return bare ? FormatError::None : FormatError::UnsuitableLength;
    case u'n':
        return FormatError::WriteBack;
    case 0:
        return FormatError::Truncated;
    default:
        return FormatError::UnknownConversion;
    }
}

/// Reads one conversion from behind its `%`, never past the end of the format, and leaves `p` behind it.
constexpr FormatError parseConversion(const WChar*& p, FormatSpec& spec) {
    for (;; ++p) {
        if (*p == u'-')
            spec.left = true;
        else if (*p == u'+')
            spec.plus = true;
        else if (*p == u' ')
            spec.space = true;
        else if (*p == u'0')
            spec.zero = true;
        else if (*p == u'#')
            spec.alternate = true;
        else
            break;
    }
    p = readFormatNumber(p, spec.width);
    if (*p == u'.') {
        spec.precision = 0;
        p = readFormatNumber(p + 1, spec.precision);
    }
    p = readFormatLength(p, spec.length);
    spec.letter = *p;
    const FormatError error = classifyConversion(spec);
    if (error == FormatError::None)
        ++p;
    return error;
}

} // namespace norq_std::detail

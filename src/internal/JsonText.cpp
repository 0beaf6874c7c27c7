#include "internal/JsonText.h"

#include "exception/NorqException.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace norq_std_internal {

using norq_std::NorqIllegalArgumentException;
using norq_std::WChar;
using norq_std::WString;

namespace {

using Lanes = std::uint16_t __attribute__((vector_size(16)));
using Hits = std::int16_t __attribute__((vector_size(16))); // all bits of a lane, or none
constexpr std::ptrdiff_t laneCount = 8;

constexpr std::uint16_t quote = u'"';
constexpr std::uint16_t slash = u'/';
constexpr std::uint16_t backslash = u'\\';
constexpr std::uint16_t behindShortForms = 14;

struct IsQuoteOrBackslash {
    bool operator()(WChar unit) const { return unit == quote || unit == backslash; }
    Hits operator()(Lanes units) const { return (units == quote) | (units == backslash); }
};

struct IsEscapable {
    bool operator()(WChar unit) const {
        return unit < behindShortForms || unit == quote || unit == slash || unit == backslash;
    }
    Hits operator()(Lanes units) const {
        return (units < behindShortForms) | (units == quote) | (units == slash) | (units == backslash);
    }
};

/// Finds the first unit for which `test` holds, eight at a time.
template <class Test>
const WChar* find(const WChar* text, const WChar* end, Test test) {
    static_assert(std::endian::native == std::endian::little, "the first unit of a block is its lowest bits");
    for (; end - text >= laneCount; text += laneCount) {
        Lanes lanes;
        std::memcpy(&lanes, text, sizeof lanes);
        const Hits hits = test(lanes);
        std::uint64_t halves[2];
        std::memcpy(halves, &hits, sizeof halves);
        if (halves[0] != 0)
            return text + std::countr_zero(halves[0]) / 16;
        if (halves[1] != 0)
            return text + 4 + std::countr_zero(halves[1]) / 16;
    }
    while (text != end && !test(*text))
        ++text;
    return text;
}

int hexadecimalValue(WChar unit) {
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    if (unit >= u'a' && unit <= u'f')
        return unit - u'a' + 10;
    if (unit >= u'A' && unit <= u'F')
        return unit - u'A' + 10;
    return -1;
}

WChar readUnicodeForm(const WChar* text, const WChar* end) {
    if (end - text < 4)
        throw NorqIllegalArgumentException(u"Unexpected end of string.");
    unsigned value = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = hexadecimalValue(text[i]);
        if (digit < 0)
            throw NorqIllegalArgumentException(u"Expected hexadecimal digit.");
        value = value * 16 + static_cast<unsigned>(digit);
    }
    return static_cast<WChar>(value);
}

WChar readShortForm(WChar letter) {
    switch (letter) {
    case u'"':
    case u'/':
    case u'\\':
        return letter;
    case u'b':
        return 8;
    case u'f':
        return 12;
    case u'n':
        return 10;
    case u'r':
        return 13;
    case u't':
        return 9;
    default:
        throw NorqIllegalArgumentException(u"Unexpected character");
    }
}

} // namespace

const WChar* findQuoteOrBackslash(const WChar* text, const WChar* end) { return find(text, end, IsQuoteOrBackslash()); }

const WChar* findEscapable(const WChar* text, const WChar* end) { return find(text, end, IsEscapable()); }

WChar escapeLetter(WChar unit) {
    switch (unit) {
    case 8:
        return u'b';
    case 9:
        return u't';
    case 10:
        return u'n';
    case 12:
        return u'f';
    case 13:
        return u'r';
    case u'"':
    case u'/':
    case u'\\':
        return unit;
    default:
        return 0;
    }
}

WString unescapeJson(const WChar* text, const WChar* end) {
    WString result;
    result.reserve(static_cast<std::size_t>(end - text));
    for (;;) {
        const WChar* run = text;
        do
            text = findQuoteOrBackslash(text, end);
        while (text != end && *text == u'"' && ++text != end);
        result.append(run, text);
        if (end - text < 2)
            return result;
        const WChar letter = text[1];
        text += 2;
        if (letter == u'u') {
            result.push_back(readUnicodeForm(text, end));
            text += 4;
        } else {
            result.push_back(readShortForm(letter));
        }
    }
}

} // namespace norq_std_internal

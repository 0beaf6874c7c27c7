#pragma once

#include "base/WString.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace norq_std_internal {

constexpr std::uint16_t jsonQuote = u'"';
constexpr std::uint16_t jsonSlash = u'/';
constexpr std::uint16_t jsonBackslash = u'\\';
constexpr std::uint16_t behindJsonShortForms = 14;

using UnitLanes = std::uint16_t __attribute__((vector_size(16)));
using UnitHits = std::int16_t __attribute__((vector_size(16))); // all bits of a lane, or none
constexpr std::ptrdiff_t unitLaneCount = 8;

struct IsQuoteOrBackslash {
    bool operator()(norq_std::WChar unit) const { return unit == jsonQuote || unit == jsonBackslash; }
    UnitHits operator()(UnitLanes units) const { return (units == jsonQuote) | (units == jsonBackslash); }
};

struct IsEscapable {
    bool operator()(norq_std::WChar unit) const {
        return unit < behindJsonShortForms || unit == jsonQuote || unit == jsonSlash || unit == jsonBackslash;
    }
    UnitHits operator()(UnitLanes units) const {
        return (units < behindJsonShortForms) | (units == jsonQuote) | (units == jsonSlash) | (units == jsonBackslash);
    }
};

/// How many of the eight units at `text` stand before the first for which `test` holds.
template <class Test>
std::ptrdiff_t countUnitsBeforeHit(const norq_std::WChar* text, Test test) {
    static_assert(std::endian::native == std::endian::little, "the first unit of a block is its lowest bits");
    UnitLanes lanes;
    std::memcpy(&lanes, text, sizeof lanes);
    const UnitHits hits = test(lanes);
    std::uint64_t halves[2];
    std::memcpy(halves, &hits, sizeof halves);
    if (halves[0] != 0)
        return std::countr_zero(halves[0]) / 16;
    return halves[1] != 0 ? 4 + std::countr_zero(halves[1]) / 16 : unitLaneCount;
}

/// The first unit for which `test` holds, `end` where there is none.
template <class Test>
const norq_std::WChar* findUnit(const norq_std::WChar* text, const norq_std::WChar* end, Test test) {
    while (end - text >= unitLaneCount) {
        const std::ptrdiff_t count = countUnitsBeforeHit(text, test);
        text += count;
        if (count < unitLaneCount)
            return text;
    }
    while (text != end && !test(*text))
        ++text;
    return text;
}

/// The first quote or backslash of a range, `end` where there is none.
inline const norq_std::WChar* findQuoteOrBackslash(const norq_std::WChar* text, const norq_std::WChar* end) {
    return findUnit(text, end, IsQuoteOrBackslash());
}

} // namespace norq_std_internal

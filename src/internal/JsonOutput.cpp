#include "internal/JsonOutput.h"

#include "internal/JsonNumberText.h"
#include "internal/JsonScan.h"
#include "internal/JsonText.h"

#include <algorithm>

namespace norq_std_internal {

namespace {

/// Writes the escaped form of a range; `to` has room for twice its length and one block.
norq_std::WChar* escape(norq_std::WChar* to, const norq_std::WChar* text, const norq_std::WChar* end) {
    const auto escapeOne = [&to](norq_std::WChar unit) {
        const norq_std::WChar letter = IsEscapable()(unit) ? escapeLetter(unit) : norq_std::WChar(0);
        if (letter != 0)
            *to++ = u'\\';
        *to++ = letter != 0 ? letter : unit;
    };
    while (end - text >= unitLaneCount) {
        // The whole block is stored before it is known how much of it may stay.
        std::memcpy(to, text, sizeof(UnitLanes));
        const std::ptrdiff_t plain = countUnitsBeforeHit(text, IsEscapable());
        to += plain;
        text += plain;
        if (plain < unitLaneCount)
            escapeOne(*text++);
    }
    while (text != end)
        escapeOne(*text++);
    return to;
}

/// The same of a whole string. What has less than a block, as most keys have, is read with what its buffer holds behind
/// it, which does not count.
norq_std::WChar* escape(norq_std::WChar* to, const norq_std::WString& text) {
    const auto count = static_cast<std::ptrdiff_t>(text.size());
    if (count < unitLaneCount && text.capacity() + 1 >= static_cast<std::size_t>(unitLaneCount)) {
        std::memcpy(to, text.data(), sizeof(UnitLanes));
        if (countUnitsBeforeHit(to, IsEscapable()) >= count)
            return to + count;
    }
    return escape(to, text.data(), text.data() + count);
}

} // namespace

void JsonOutput::reserveEscaped(std::size_t count) {
    if (2 * count + 2 + static_cast<std::size_t>(unitLaneCount) > size - used)
        flush();
}

void JsonOutput::appendString(const norq_std::WString& text) {
    if (text.size() > sliceSize) {
        put(u'"');
        appendEscaped(text);
        put(u'"');
        return;
    }
    reserveEscaped(text.size());
    WChar* to = units + used;
    *to++ = u'"';
    to = escape(to, text);
    *to++ = u'"';
    used = static_cast<std::size_t>(to - units);
}

void JsonOutput::appendEscaped(const norq_std::WString& text) {
    const WChar* p = text.data();
    for (std::size_t left = text.size(); left != 0;) {
        const std::size_t slice = std::min(left, sliceSize);
        reserveEscaped(slice);
        used = static_cast<std::size_t>(escape(units + used, p, p + slice) - units);
        p += slice;
        left -= slice;
    }
}

void JsonOutput::appendNumber(double number) {
    char narrow[jsonNumberSize];
    const std::size_t length = writeJsonNumber(number, narrow);
    if (length > size - used)
        flush();
    std::copy_n(narrow, length, units + used);
    used += length;
}

} // namespace norq_std_internal

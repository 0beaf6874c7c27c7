#include "internal/FormatBuffer.h"

#include <cstdint>

namespace norq_std_internal {

namespace {

struct Utf8Character {
    char32_t codePoint;
    std::size_t length; ///< 0 where the bytes are not well-formed
    bool cut;           ///< well-formed as far as the bound lets it be seen
};

Utf8Character readUtf8(const char* text, std::size_t bound) {
    const auto byte = [text](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = byte(0);
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4)
        return {0, 0, false};
    // The second byte alone tells overlong forms, surrogates and values above the last plane.
    std::uint8_t low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    std::uint8_t high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    char32_t codePoint = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (i == bound)
            return {0, 0, true};
        if (byte(i) < low || byte(i) > high)
            return {0, 0, false};
        codePoint = (codePoint << 6) | (byte(i) & 0x3FU);
        low = 0x80;
        high = 0xBF;
    }
    return {codePoint, length, false};
}

} // namespace

bool FormatBuffer::grow(std::size_t count) {
    const std::size_t used = size();
    if (lost || count > most - used) {
        lost = true;
        next = last = first;
        return false;
    }
    const std::size_t capacity = std::min(most, std::max(used + count, 2 * static_cast<std::size_t>(last - first)));
    auto units = std::make_unique_for_overwrite<WChar[]>(capacity);
    std::memcpy(units.get(), first, used * sizeof(WChar));
    heapUnits = std::move(units);
    first = heapUnits.get();
    next = first + used;
    last = first + capacity;
    return true;
}

void FormatBuffer::appendUtf8(const char* text, std::size_t bound, bool cutsText) {
    for (;;) {
        const auto ends = [](char byte) { return byte == 0 || (byte & 0x80) != 0; };
        const std::size_t ascii = appendRun(text, bound, ends, [&](const char* from, std::size_t count) {
            std::size_t i = 0;
            for (; i < count && !ends(from[i]); ++i)
                next[i] = static_cast<WChar>(from[i]);
            return i;
        });
        text += ascii;
        bound -= ascii;
        if (bound == 0 || lost || *text == 0)
            return;
        const Utf8Character character = readUtf8(text, bound);
        if (character.cut && cutsText)
            return;
        if (character.length == 0) {
            append(static_cast<std::uint8_t>(*text));
        } else if (character.codePoint < 0x10000) {
            append(static_cast<WChar>(character.codePoint));
        } else if (WChar* to = claim(2)) {
            to[0] = static_cast<WChar>(0xD7C0 + (character.codePoint >> 10));
            to[1] = static_cast<WChar>(0xDC00 + (character.codePoint & 0x3FF));
        }
        const std::size_t length = std::max<std::size_t>(character.length, 1);
        text += length;
        bound -= length;
    }
}

void FormatBuffer::pad(std::size_t start, std::size_t width, bool left) {
    const std::size_t length = size() - start;
    if (lost || length >= width)
        return;
    const std::size_t blanks = width - length;
    if (claim(blanks) == nullptr)
        return;
    WChar* text = first + start;
    if (left) {
        std::fill_n(text + length, blanks, u' ');
    } else {
        std::memmove(text + blanks, text, length * sizeof(WChar));
        std::fill_n(text, blanks, u' ');
    }
}

} // namespace norq_std_internal

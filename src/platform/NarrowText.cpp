#include "platform/NarrowText.h"

#include <cstddef>
#include <cstdint>

namespace norq_std_internal::platform {
namespace {

constexpr char32_t Replacement = 0xFFFD;

bool isSurrogate(char32_t c) { return (c & 0xFFFFF800) == 0xD800; }

char32_t nextCodePoint(std::u16string_view text, std::size_t& at) {
    const char32_t unit = text[at++];
    if (!isSurrogate(unit))
        return unit;
    if (unit >= 0xDC00 || at == text.size() || (text[at] & 0xFC00) != 0xDC00)
        return Replacement;
    return 0x10000 + ((unit - 0xD800) << 10) + (text[at++] - 0xDC00u);
}

/// Decodes one sequence; a broken one consumes what belonged to it, at least one byte.
char32_t nextCodePoint(std::string_view text, std::size_t& at) {
    const auto lead = static_cast<std::uint8_t>(text[at++]);
    if (lead < 0x80)
        return lead;
    const int following = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
    if (lead < 0xC2 || lead > 0xF4)
        return Replacement;
    char32_t c = lead & (0x3Fu >> following);
    for (int i = 0; i < following; ++i) {
        if (at == text.size() || (static_cast<std::uint8_t>(text[at]) & 0xC0) != 0x80)
            return Replacement;
        c = (c << 6) | (static_cast<std::uint8_t>(text[at++]) & 0x3Fu);
    }
    constexpr char32_t Smallest[] = {0, 0x80, 0x800, 0x10000};
    return c < Smallest[following] || c > 0x10FFFF || isSurrogate(c) ? Replacement : c;
}

void appendCodePoint(std::u16string& target, char32_t c) {
    if (c < 0x10000) {
        target += static_cast<char16_t>(c);
    } else {
        target += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
        target += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
    }
}

} // namespace

void appendUtf8(std::string& target, std::u16string_view text) {
    target.reserve(target.size() + text.size());
    for (std::size_t at = 0; at < text.size();) {
        const char32_t c = nextCodePoint(text, at);
        if (c < 0x80) {
            target += static_cast<char>(c);
        } else if (c < 0x800) {
            target += static_cast<char>(0xC0 | (c >> 6));
            target += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            target += static_cast<char>(0xE0 | (c >> 12));
            target += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            target += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            target += static_cast<char>(0xF0 | (c >> 18));
            target += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            target += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            target += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
}

void appendWide(std::u16string& target, std::string_view text) {
    target.reserve(target.size() + text.size());
    for (std::size_t at = 0; at < text.size();)
        appendCodePoint(target, nextCodePoint(text, at));
}

bool appendWellFormed(std::u16string& target, std::string_view text) {
    const std::size_t before = target.size();
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t start = at;
        const char32_t c = nextCodePoint(text, at);
        if (c == Replacement && text.substr(start, at - start) != "\xEF\xBF\xBD") {
            target.resize(before);
            return false;
        }
        appendCodePoint(target, c);
    }
    return true;
}

} // namespace norq_std_internal::platform

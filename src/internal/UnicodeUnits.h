#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The arithmetic of surrogates and continuation bytes.
namespace norq_std_internal {

constexpr std::uint32_t UNICODE_END = 0x110000;

constexpr bool isHighSurrogate(std::uint32_t value) { return (value & 0xFFFFFC00) == 0xD800; }
constexpr bool isLowSurrogate(std::uint32_t value) { return (value & 0xFFFFFC00) == 0xDC00; }
constexpr bool isSurrogate(std::uint32_t value) { return (value & 0xFFFFF800) == 0xD800; }

constexpr bool isContinuation(std::uint32_t byte) { return (byte & 0xC0) == 0x80; }

constexpr std::uint32_t combineSurrogates(std::uint32_t high, std::uint32_t low) {
    return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

/// Writes a value from 0x10000 on as its pair.
constexpr void putSurrogates(std::uint32_t value, char16_t*& out) {
    *out++ = static_cast<char16_t>(0xD7C0 + (value >> 10));
    *out++ = static_cast<char16_t>(0xDC00 + (value & 0x3FF));
}

/// Whether each surrogate stands in a pair.
constexpr bool isWellFormed(std::u16string_view text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!isSurrogate(text[at]))
            continue;
        if (isLowSurrogate(text[at]) || at + 1 == text.size() || !isLowSurrogate(text[at + 1]))
            return false;
        ++at;
    }
    return true;
}

} // namespace norq_std_internal

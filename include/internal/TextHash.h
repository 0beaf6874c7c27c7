#pragma once

#include "base/WString.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace norq_std_internal {

/// Hash of a short text, sixteen bytes at a time multiplied into each other. Not against texts that are made to
/// collide.
struct TextHash {
    std::size_t operator()(std::u16string_view text) const {
        const char* at = reinterpret_cast<const char*>(text.data());
        std::size_t bytes = text.size() * sizeof(norq_std::WChar);
        std::uint64_t hash = bytes ^ FACTORS[0];
        for (; bytes > 16; bytes -= 16, at += 16)
            hash = fold(word(at, 8) ^ FACTORS[1], word(at + 8, 8) ^ hash);
        const std::uint64_t first = word(at, bytes < 8 ? bytes : 8);
        const std::uint64_t last = bytes > 8 ? word(at + bytes - 8, 8) : 0;
        return fold(fold(first ^ FACTORS[1], last ^ hash), FACTORS[0]);
    }

private:
    __extension__ using Product = unsigned __int128;
    static constexpr std::uint64_t FACTORS[] = {0x9E3779B97F4A7C15, 0xA0761D6478BD642F};

    static std::uint64_t word(const char* at, std::size_t bytes) {
        std::uint64_t value = 0;
        if (bytes > 0)
            std::memcpy(&value, at, bytes);
        return value;
    }
    static std::uint64_t fold(std::uint64_t a, std::uint64_t b) {
        const Product product = static_cast<Product>(a) * b;
        return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
    }
};

/// Equality of texts as blocks of memory, which the string's own comparison does unit by unit.
struct SameText {
    bool operator()(std::u16string_view a, std::u16string_view b) const {
        return a.size() == b.size() &&
               (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(norq_std::WChar)) == 0);
    }
};

} // namespace norq_std_internal

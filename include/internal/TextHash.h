#pragma once

#include "base/WString.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace norq_std_internal {

/// Hash of a few bytes, sixteen at a time multiplied into each other. Not against bytes that are made to collide.
class ByteHash {
public:
    static std::uint64_t hash(const char* at, std::size_t bytes) {
        std::uint64_t hash = bytes ^ FACTORS[0];
        for (; bytes > 16; bytes -= 16, at += 16)
            hash = fold(word<std::uint64_t>(at) ^ FACTORS[1], word<std::uint64_t>(at + 8) ^ hash);
        std::uint64_t first = 0;
        std::uint64_t last = 0;
        if (bytes >= 8) {
            first = word<std::uint64_t>(at);
            last = word<std::uint64_t>(at + bytes - 8); // overlaps the first
        } else if (bytes >= 4) {
            first = word<std::uint32_t>(at);
            last = word<std::uint32_t>(at + bytes - 4);
        } else if (bytes > 0) {
            first = word<std::uint8_t>(at);
            last = static_cast<std::uint64_t>(word<std::uint8_t>(at + bytes / 2)) << 8 |
                   word<std::uint8_t>(at + bytes - 1);
        }
        return fold(fold(first ^ FACTORS[1], last ^ hash), FACTORS[0]);
    }

private:
    __extension__ using Product = unsigned __int128;
    static constexpr std::uint64_t FACTORS[] = {0x9E3779B97F4A7C15, 0xA0761D6478BD642F};

    template <class Word>
    static Word word(const char* at) {
        Word value;
        std::memcpy(&value, at, sizeof value);
        return value;
    }
    static std::uint64_t fold(std::uint64_t a, std::uint64_t b) {
        const Product product = static_cast<Product>(a) * b;
        return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
    }
};

/// Hash of a short text, as by `ByteHash`.
struct TextHash {
    std::size_t operator()(std::u16string_view text) const {
        return ByteHash::hash(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(norq_std::WChar));
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

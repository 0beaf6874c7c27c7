#pragma once

#include "base/WString.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace norq_std_internal {

/// Hash of a short text, eight bytes at a time multiplied into each other. Not against texts that are made to collide.
struct TextHash {
    std::size_t operator()(std::u16string_view text) const {
        constexpr std::uint64_t FACTOR = 0x9E3779B97F4A7C15;
        const char* at = reinterpret_cast<const char*>(text.data());
        std::size_t bytes = text.size() * sizeof(norq_std::WChar);
        std::uint64_t hash = bytes * FACTOR;
        std::uint64_t word = 0;
        for (; bytes >= sizeof word; bytes -= sizeof word, at += sizeof word) {
            std::memcpy(&word, at, sizeof word);
            hash = (hash ^ word) * FACTOR;
            hash ^= hash >> 32;
        }
        word = 0;
        if (bytes > 0)
            std::memcpy(&word, at, bytes);
        hash = (hash ^ word) * FACTOR;
        return hash ^ hash >> 32;
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

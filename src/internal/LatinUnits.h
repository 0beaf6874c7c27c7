#pragma once

#include <cstddef>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// Units below 256, which are one byte each, in blocks of eight where the processor can. The last block of a text
/// overlaps the one before.
namespace norq_std_internal {

constexpr std::size_t LATIN_BLOCK = 8;

#if defined(__SSE2__)
inline __m128i loadUnits(const char16_t* units) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(units)); }

/// Eight bytes as units.
inline __m128i loadWidened(const char* bytes) {
    return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes)), _mm_setzero_si128());
}
#endif

/// Whether each of the units fits into a byte.
inline bool isLatin(const char16_t* units, std::size_t count) {
#if defined(__SSE2__)
    if (count >= LATIN_BLOCK) {
        __m128i seen = loadUnits(units + count - LATIN_BLOCK);
        for (std::size_t at = 0; at < count - LATIN_BLOCK; at += LATIN_BLOCK)
            seen = _mm_or_si128(seen, loadUnits(units + at));
        return _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_srli_epi16(seen, 8), _mm_setzero_si128())) == 0xFFFF;
    }
#endif
    unsigned seen = 0;
    for (std::size_t at = 0; at < count; ++at)
        seen |= units[at];
    return seen < 0x100;
}

/// Narrows units that fit.
inline void narrowLatin(const char16_t* units, std::size_t count, char* bytes) {
#if defined(__SSE2__)
    if (count >= LATIN_BLOCK) {
        const auto narrow = [units, bytes](std::size_t at) {
            const __m128i block = loadUnits(units + at);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(bytes + at), _mm_packus_epi16(block, block));
        };
        for (std::size_t at = 0; at < count - LATIN_BLOCK; at += LATIN_BLOCK)
            narrow(at);
        narrow(count - LATIN_BLOCK);
        return;
    }
#endif
    for (std::size_t at = 0; at < count; ++at)
        bytes[at] = static_cast<char>(units[at]);
}

inline void widenLatin(const char* bytes, std::size_t count, char16_t* units) {
#if defined(__SSE2__)
    if (count >= LATIN_BLOCK) {
        const auto widen = [bytes, units](std::size_t at) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(units + at), loadWidened(bytes + at));
        };
        for (std::size_t at = 0; at < count - LATIN_BLOCK; at += LATIN_BLOCK)
            widen(at);
        widen(count - LATIN_BLOCK);
        return;
    }
#endif
    for (std::size_t at = 0; at < count; ++at)
        units[at] = static_cast<unsigned char>(bytes[at]);
}

/// Whether the bytes are these units.
inline bool isSameLatin(const char* bytes, const char16_t* units, std::size_t count) {
#if defined(__SSE2__)
    if (count >= LATIN_BLOCK) {
        const auto differs = [bytes, units](std::size_t at) {
            return _mm_movemask_epi8(_mm_cmpeq_epi16(loadWidened(bytes + at), loadUnits(units + at))) != 0xFFFF;
        };
        for (std::size_t at = 0; at < count - LATIN_BLOCK; at += LATIN_BLOCK)
            if (differs(at))
                return false;
        return !differs(count - LATIN_BLOCK);
    }
#endif
    for (std::size_t at = 0; at < count; ++at)
        if (static_cast<unsigned char>(bytes[at]) != units[at])
            return false;
    return true;
}

} // namespace norq_std_internal

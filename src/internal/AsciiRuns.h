#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// Runs of ASCII, which text mostly consists of, sixteen units at a time where the processor can; and the end of a
/// text.
///
/// Each function has one body for SSE2, which every x86-64 has, and a portable one that gives the same result.
namespace norq_std_internal {

/// Widens the run of ASCII at the start of `in` into `out`. At most `count` units are read; `out` has room for `count`
/// units, and what lies there behind the run may be overwritten. Returns the length of the run.
inline std::size_t widenAscii(const unsigned char* in, std::size_t count, char16_t* out) {
    std::size_t i = 0;
#if defined(__SSE2__)
    for (; count - i >= 16; i += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i + 8), _mm_unpackhi_epi8(bytes, _mm_setzero_si128()));
        const int wide = _mm_movemask_epi8(bytes);
        if (wide != 0)
            return i + static_cast<unsigned>(std::countr_zero(static_cast<unsigned>(wide)));
    }
#endif
    for (; i < count && in[i] < 0x80; ++i)
        out[i] = in[i];
    return i;
}

#if defined(__SSE2__)
/// Narrows eight units, and gives how many of them, from the first on, are ASCII.
inline std::size_t narrowEight(const char16_t* in, unsigned char* out) {
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(units, units));
    // A saturating subtraction leaves zero exactly where the unit is at most 0x7F.
    const __m128i ascii = _mm_cmpeq_epi16(_mm_subs_epu16(units, _mm_set1_epi16(0x7F)), _mm_setzero_si128());
    return static_cast<unsigned>(std::countr_one(static_cast<unsigned>(_mm_movemask_epi8(ascii)))) / 2;
}
#endif

/// Narrows the run of ASCII at the start of `in` into `out`, under the same conditions.
inline std::size_t narrowAscii(const char16_t* in, std::size_t count, unsigned char* out) {
    std::size_t i = 0;
#if defined(__SSE2__)
    const __m128i limit = _mm_set1_epi16(0x7F);
    for (; count - i >= 16; i += 16) {
        const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i + 8));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(low, high));
        const __m128i wideLow = _mm_cmpeq_epi16(_mm_subs_epu16(low, limit), _mm_setzero_si128());
        const __m128i wideHigh = _mm_cmpeq_epi16(_mm_subs_epu16(high, limit), _mm_setzero_si128());
        const unsigned ascii = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(wideLow, wideHigh)));
        if (ascii != 0xFFFF)
            return i + static_cast<unsigned>(std::countr_one(ascii));
    }
    if (count - i >= 8) {
        if (const std::size_t run = narrowEight(in + i, out + i); run != 8)
            return i + run;
        i += 8;
    }
    if (count >= 8 && i != count) // the last eight, some of them once more
        return count - 8 + narrowEight(in + count - 8, out + count - 8);
#endif
    for (; i < count && in[i] < 0x80; ++i)
        out[i] = static_cast<unsigned char>(in[i]);
    return i;
}

// The end of wide text is looked for in whole aligned blocks, which never cross into another page, so it sees bytes
// around the text that a sanitizer rightly calls foreign.
#if defined(__SSE2__)
#define NORQ_READS_BLOCKS __attribute__((no_sanitize("address", "thread")))

NORQ_READS_BLOCKS inline __m128i zerosIn(const char16_t* block) {
    return _mm_cmpeq_epi16(*reinterpret_cast<const __m128i*>(block), _mm_setzero_si128());
}

NORQ_READS_BLOCKS inline bool isAligned(const char16_t* text, std::uintptr_t bytes) {
    return (reinterpret_cast<std::uintptr_t>(text) & (bytes - 1)) == 0;
}

/// The first zero unit of a terminated text.
NORQ_READS_BLOCKS inline const char16_t* findTerminator(const char16_t* text) {
    for (; !isAligned(text, 16); ++text)
        if (*text == 0)
            return text;
    for (;; text += 8) {
        while (isAligned(text, 64)) {
            const __m128i any = _mm_or_si128(_mm_or_si128(zerosIn(text), zerosIn(text + 8)),
                                             _mm_or_si128(zerosIn(text + 16), zerosIn(text + 24)));
            if (_mm_movemask_epi8(any) != 0)
                break;
            text += 32;
        }
        if (const int zeros = _mm_movemask_epi8(zerosIn(text)))
            return text + static_cast<unsigned>(std::countr_zero(static_cast<unsigned>(zeros))) / 2;
    }
}

/// Copies units up to a zero or `stop`, and `count` at most; what lies in `out` behind them may be overwritten. Gives
/// the number of units copied. Blocks are read that do not cross into another page.
NORQ_READS_BLOCKS inline std::size_t copyUntil(const char16_t* text, std::size_t count, char16_t stop, char16_t* out) {
    constexpr std::uintptr_t PAGE = 4096;
    const __m128i stops = _mm_set1_epi16(static_cast<short>(stop));
    for (std::size_t i = 0; i < count;) {
        if (count - i >= 8 && (reinterpret_cast<std::uintptr_t>(text + i) & (PAGE - 1)) <= PAGE - 16) [[likely]] {
            const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), units);
            const __m128i ends =
                _mm_or_si128(_mm_cmpeq_epi16(units, _mm_setzero_si128()), _mm_cmpeq_epi16(units, stops));
            if (const int mask = _mm_movemask_epi8(ends))
                return i + static_cast<unsigned>(std::countr_zero(static_cast<unsigned>(mask))) / 2;
            i += 8;
        } else {
            if (text[i] == 0 || text[i] == stop)
                return i;
            out[i] = text[i];
            ++i;
        }
    }
    return count;
}
#else
inline std::size_t copyUntil(const char16_t* text, std::size_t count, char16_t stop, char16_t* out) {
    std::size_t i = 0;
    for (; i < count && text[i] != 0 && text[i] != stop; ++i)
        out[i] = text[i];
    return i;
}

inline const char16_t* findTerminator(const char16_t* text) {
    while (*text != 0)
        ++text;
    return text;
}
#endif

inline const unsigned char* findTerminator(const unsigned char* text) {
    return text + std::strlen(reinterpret_cast<const char*>(text));
}

inline const char32_t* findTerminator(const char32_t* text) {
    while (*text != 0)
        ++text;
    return text;
}

} // namespace norq_std_internal

// Where the processor can permute bytes (AVX2, asked once), a block of mixed characters is converted as if each of its
// positions began a character, and the results that count are then moved together by one look-up: so the lengths of
// characters, which differ from word to word, are no branches. Characters outside the Basic Multilingual Plane, and all
// characters on other processors, are converted one by one. Plain ASCII has a road of its own in both.

#include "internal/UtfRuns.h"

#include "internal/AsciiRuns.h"
#include "internal/UnicodeUnits.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#define NORQ_AVX2 __attribute__((target("avx2")))
#endif

namespace norq_std_internal {

namespace {

std::uint32_t loadLittleEndian(const unsigned char* in) {
    std::uint32_t value = 0;
    std::memcpy(&value, in, sizeof value);
    return std::endian::native == std::endian::little ? value : __builtin_bswap32(value);
}

void storeLittleEndian(std::uint32_t value, unsigned char* out) {
    const std::uint32_t ordered = std::endian::native == std::endian::little ? value : __builtin_bswap32(value);
    std::memcpy(out, &ordered, sizeof ordered);
}

// ---- one character

/// Reads four bytes and may write two units; false before a character that is not well-formed.
inline bool decodeOne(const unsigned char*& in, char16_t*& out) {
    const std::uint32_t bytes = loadLittleEndian(in);
    const std::uint32_t lead = bytes & 0xFF;
    if (lead < 0x80) {
        *out++ = static_cast<char16_t>(lead);
        ++in;
    } else if (lead < 0xE0) {
        if ((bytes & 0xC0E0) != 0x80C0 || lead < 0xC2)
            return false;
        *out++ = static_cast<char16_t>((lead & 0x1F) << 6 | (bytes >> 8 & 0x3F));
        in += 2;
    } else if (lead < 0xF0) {
        const std::uint32_t value = (bytes & 0x0F) << 12 | (bytes >> 2 & 0xFC0) | (bytes >> 16 & 0x3F);
        if ((bytes & 0xC0C0F0) != 0x8080E0 || value < 0x800 || isSurrogate(value))
            return false;
        *out++ = static_cast<char16_t>(value);
        in += 3;
    } else {
        const std::uint32_t value =
            (bytes & 0x07) << 18 | (bytes << 4 & 0x3F000) | (bytes >> 10 & 0xFC0) | (bytes >> 24 & 0x3F);
        if ((bytes & 0xC0C0C0F8) != 0x808080F0 || value < 0x10000 || value >= UNICODE_END)
            return false;
        putSurrogates(value, out);
        in += 4;
    }
    return true;
}

/// Reads two units and may write four bytes; false before half a surrogate pair.
inline bool encodeOne(const char16_t*& in, unsigned char*& out) {
    const std::uint32_t value = *in;
    if (value < 0x80) {
        *out++ = static_cast<unsigned char>(value);
    } else if (value < 0x800) {
        out[0] = static_cast<unsigned char>(0xC0 | value >> 6);
        out[1] = static_cast<unsigned char>(0x80 | (value & 0x3F));
        out += 2;
    } else if (!isSurrogate(value)) {
        storeLittleEndian(0x8080E0 | value >> 12 | (value << 2 & 0x3F00) | (value & 0x3F) << 16, out);
        out += 3;
    } else {
        if (!isHighSurrogate(value) || !isLowSurrogate(in[1]))
            return false;
        const std::uint32_t pair = combineSurrogates(value, in[1]);
        storeLittleEndian(
            0x808080F0 | pair >> 18 | (pair >> 4 & 0x3F00) | (pair << 10 & 0x3F0000) | (pair & 0x3F) << 24, out);
        out += 4;
        ++in;
    }
    ++in;
    return true;
}

void decodeEach(Remaining<const unsigned char> source, Remaining<char16_t> target) {
    const unsigned char* in = source.at;
    char16_t* out = target.at;
    while (source.end - in >= 4 && target.end - out >= 2) {
        if (in[0] < 0x80 && in[1] < 0x80) {
            const std::ptrdiff_t room = std::min(source.end - in, target.end - out);
            const std::size_t run = widenAscii(in, static_cast<std::size_t>(room), out);
            in += run;
            out += run;
        } else if (!decodeOne(in, out)) {
            break;
        }
    }
    source.at = in;
    target.at = out;
}

void encodeEach(Remaining<const char16_t> source, Remaining<unsigned char> target) {
    const char16_t* in = source.at;
    unsigned char* out = target.at;
    while (source.end - in >= 2 && target.end - out >= 4) {
        if (in[0] < 0x80 && in[1] < 0x80) {
            const std::ptrdiff_t room = std::min(source.end - in, target.end - out);
            const std::size_t run = narrowAscii(in, static_cast<std::size_t>(room), out);
            in += run;
            out += run;
        } else if (!encodeOne(in, out)) {
            break;
        }
    }
    source.at = in;
    target.at = out;
}

#if defined(__x86_64__)

// ---- blocks

// False until the module is initialised; earlier conversions take the single steps.
const bool hasBlocks = __builtin_cpu_supports("avx2") != 0;

/// For each selection of units or bytes: the permutation that moves them together, and how many bytes they are.
struct Gather {
    alignas(16) std::array<std::array<std::uint8_t, 16>, 256> order{};
    std::array<std::uint8_t, 256> bytes{};

    constexpr void add(std::size_t key, std::size_t byte) {
        order[key][bytes[key]++] = static_cast<std::uint8_t>(byte);
    }
};

/// Of eight units those whose bit is set.
constexpr Gather UNITS = [] {
    Gather gather;
    for (std::size_t key = 0; key < 256; ++key)
        for (std::size_t unit = 0; unit < 8; ++unit)
            if (key >> unit & 1) {
                gather.add(key, 2 * unit);
                gather.add(key, 2 * unit + 1);
            }
    return gather;
}();

/// Of eight slots of two bytes one byte where the bit is set, else two.
constexpr Gather ONE_OR_TWO = [] {
    Gather gather;
    for (std::size_t key = 0; key < 256; ++key)
        for (std::size_t unit = 0; unit < 8; ++unit) {
            gather.add(key, 2 * unit);
            if (!(key >> unit & 1))
                gather.add(key, 2 * unit + 1);
        }
    return gather;
}();

/// Of four slots of four bytes one byte, a second where the low bit of four is set, a third where the high bit is.
constexpr Gather ONE_TO_THREE = [] {
    Gather gather;
    for (std::size_t key = 0; key < 256; ++key)
        for (std::size_t unit = 0; unit < 4; ++unit) {
            gather.add(key, 4 * unit);
            if (key >> unit & 1)
                gather.add(key, 4 * unit + 1);
            if (key >> unit & 0x10)
                gather.add(key, 4 * unit + 2);
        }
    return gather;
}();

NORQ_AVX2 inline __m128i load(const void* in) { return _mm_loadu_si128(static_cast<const __m128i*>(in)); }
NORQ_AVX2 inline void store(void* out, __m128i block) { _mm_storeu_si128(static_cast<__m128i*>(out), block); }
NORQ_AVX2 inline __m256i loadWide(const void* in) { return _mm256_loadu_si256(static_cast<const __m256i*>(in)); }
NORQ_AVX2 inline void storeWide(void* out, __m256i block) { _mm256_storeu_si256(static_cast<__m256i*>(out), block); }
NORQ_AVX2 inline __m128i bytes(int value) { return _mm_set1_epi8(static_cast<char>(value)); }
NORQ_AVX2 inline __m128i units(int value) { return _mm_set1_epi16(static_cast<short>(value)); }
NORQ_AVX2 inline unsigned bits(__m128i mask) { return static_cast<unsigned>(_mm_movemask_epi8(mask)); }
NORQ_AVX2 inline __m128i choose(__m128i mask, __m128i yes, __m128i no) {
    return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
}
NORQ_AVX2 inline __m128i gathered(const Gather& gather, unsigned key, __m128i block) {
    return _mm_shuffle_epi8(block, _mm_load_si128(reinterpret_cast<const __m128i*>(gather.order[key].data())));
}

/// Sixteen bytes, and the same seen one and two bytes further on.
struct Bytes {
    __m128i first;
    __m128i second;
    __m128i third;
};

/// Decodes the characters of one to three bytes that begin and end in a block; may write 16 units. False, with nothing
/// moved, if something else is among them. The units of the first `known` bytes are in the target already.
NORQ_AVX2 inline bool decodeBlock(const Bytes& block, const unsigned char*& in, char16_t*& out, unsigned known) {
    const __m128i first = block.first;
    const __m128i second = block.second;
    const unsigned high = bits(first);
    const unsigned continuations = bits(_mm_cmpgt_epi8(bytes(0xC0), first));
    const unsigned leads = high & ~continuations;
    const __m128i from3 = _mm_cmpgt_epi8(first, bytes(0xDF)); // ASCII as well, being positive
    const unsigned leads3 = high & bits(from3);
    const unsigned leads4 = high & bits(_mm_cmpgt_epi8(first, bytes(0xEF)));
    const __m128i ascii = _mm_cmpgt_epi8(first, bytes(0xFF));

    __m128i bad = _mm_cmpeq_epi8(_mm_and_si128(first, bytes(0xFE)), bytes(0xC0)); // overlong
    __m128i low =
        _mm_or_si128(_mm_and_si128(_mm_slli_epi16(first, 6), bytes(0xC0)), _mm_and_si128(second, bytes(0x3F)));
    __m128i upper = _mm_and_si128(_mm_srli_epi16(first, 2), bytes(0x07));
    if (leads3 != 0) {
        const __m128i third = block.third;
        const __m128i low3 =
            _mm_or_si128(_mm_and_si128(_mm_slli_epi16(second, 6), bytes(0xC0)), _mm_and_si128(third, bytes(0x3F)));
        const __m128i upper3 = _mm_or_si128(_mm_and_si128(_mm_slli_epi16(first, 4), bytes(0xF0)),
                                            _mm_and_si128(_mm_srli_epi16(second, 2), bytes(0x0F)));
        low = choose(from3, low3, low);
        upper = choose(from3, upper3, upper);
        const __m128i overlong = _mm_and_si128(_mm_cmpeq_epi8(first, bytes(0xE0)), _mm_cmpgt_epi8(bytes(0xA0), second));
        const __m128i surrogate =
            _mm_and_si128(_mm_cmpeq_epi8(first, bytes(0xED)), _mm_cmpgt_epi8(second, bytes(0x9F)));
        bad = _mm_or_si128(bad, _mm_or_si128(overlong, surrogate));
    }
    const unsigned expected = (leads << 1 | leads3 << 2) & 0xFFFF;
    if ((leads4 | (continuations ^ expected) | bits(bad)) != 0)
        return false;

    low = choose(ascii, first, low);
    upper = _mm_andnot_si128(ascii, upper);
    // A character that goes on behind the block is left for the next.
    const unsigned consumed = 16 - (leads >> 15) - (leads3 >> 13 & 2);
    const unsigned starts = ~continuations & ((1U << consumed) - 1);
    if (known != 0) {
        const unsigned before = starts & ((1U << known) - 1);
        out -= (UNITS.bytes[before & 0xFF] + UNITS.bytes[before >> 8]) / 2;
    }
    store(out, gathered(UNITS, starts & 0xFF, _mm_unpacklo_epi8(low, upper)));
    out += UNITS.bytes[starts & 0xFF] / 2;
    store(out, gathered(UNITS, starts >> 8, _mm_unpackhi_epi8(low, upper)));
    out += UNITS.bytes[starts >> 8] / 2;
    in += consumed - known;
    return true;
}

/// Four units of up to three bytes each; may write 16 bytes.
NORQ_AVX2 inline void encodeFour(__m128i values, unsigned char*& out) {
    const __m128i wide = _mm_cmpgt_epi32(values, _mm_set1_epi32(0x7F));
    const __m128i wider = _mm_cmpgt_epi32(values, _mm_set1_epi32(0x7FF));
    const __m128i low = _mm_and_si128(values, _mm_set1_epi32(0x3F));
    const __m128i two =
        _mm_or_si128(_mm_set1_epi32(0x80C0), _mm_or_si128(_mm_srli_epi32(values, 6), _mm_slli_epi32(low, 8)));
    const __m128i middle = _mm_and_si128(_mm_slli_epi32(values, 2), _mm_set1_epi32(0x3F00));
    const __m128i three = _mm_or_si128(_mm_or_si128(_mm_set1_epi32(0x8080E0), _mm_srli_epi32(values, 12)),
                                       _mm_or_si128(middle, _mm_slli_epi32(low, 16)));
    const __m128i block = choose(wider, three, choose(wide, two, values));
    const auto key =
        static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(wide)) | _mm_movemask_ps(_mm_castsi128_ps(wider)) << 4);
    store(out, gathered(ONE_TO_THREE, key, block));
    out += ONE_TO_THREE.bytes[key];
}

/// Encodes eight units, none of them a surrogate; may write 28 bytes. False, with nothing moved, if one is.
NORQ_AVX2 inline bool encodeBlock(const char16_t*& in, unsigned char*& out) {
    const __m128i block = load(in);
    const __m128i top = _mm_and_si128(block, units(0xF800));
    const __m128i upToTwo = _mm_cmpeq_epi16(top, _mm_setzero_si128());
    if (bits(upToTwo) == 0xFFFF) {
        const __m128i ascii = _mm_cmpgt_epi16(units(0x80), block);
        const __m128i low = _mm_slli_epi16(_mm_and_si128(block, units(0x3F)), 8);
        const __m128i two = _mm_or_si128(units(0x80C0), _mm_or_si128(_mm_srli_epi16(block, 6), low));
        const unsigned key = bits(_mm_packs_epi16(ascii, _mm_setzero_si128()));
        store(out, gathered(ONE_OR_TWO, key, choose(ascii, block, two)));
        out += ONE_OR_TWO.bytes[key];
    } else {
        if (bits(_mm_cmpeq_epi16(top, units(0xD800))) != 0)
            return false;
        encodeFour(_mm_unpacklo_epi16(block, _mm_setzero_si128()), out);
        encodeFour(_mm_unpackhi_epi16(block, _mm_setzero_si128()), out);
    }
    in += 8;
    return true;
}

/// Copies the run of ASCII at the start, in whole blocks.
NORQ_AVX2 inline void decodeAscii(const unsigned char*& in, char16_t*& out, std::size_t room) {
    std::size_t i = 0;
    for (; i + 32 <= room; i += 32) {
        const __m128i low = load(in + i);
        const __m128i high = load(in + i + 16);
        if (bits(_mm_or_si128(low, high)) != 0)
            break;
        storeWide(out + i, _mm256_cvtepu8_epi16(low));
        storeWide(out + i + 16, _mm256_cvtepu8_epi16(high));
    }
    for (; i + 16 <= room && bits(load(in + i)) == 0; i += 16)
        storeWide(out + i, _mm256_cvtepu8_epi16(load(in + i)));
    in += i;
    out += i;
}

NORQ_AVX2 inline bool isAscii(__m256i wide) { return _mm256_testz_si256(wide, _mm256_set1_epi16(-0x80)) != 0; }

NORQ_AVX2 inline __m256i packed(__m256i low, __m256i high) {
    return _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), 0xD8);
}

NORQ_AVX2 inline void encodeAscii(const char16_t*& in, unsigned char*& out, std::size_t room) {
    std::size_t i = 0;
    for (; i + 32 <= room; i += 32) {
        const __m256i low = loadWide(in + i);
        const __m256i high = loadWide(in + i + 16);
        if (!isAscii(_mm256_or_si256(low, high)))
            break;
        storeWide(out + i, packed(low, high));
    }
    for (; i + 16 <= room && isAscii(loadWide(in + i)); i += 16)
        store(out + i, _mm256_castsi256_si128(packed(loadWide(in + i), loadWide(in + i))));
    in += i;
    out += i;
}

/// How many units are converted one by one where a block holds what it cannot take: text that is full of such
/// characters should not be looked at twice.
constexpr std::ptrdiff_t STRETCH = 48;

/// Block by block while there is room for one; false before what is not well-formed.
NORQ_AVX2 bool decodeBlocks(Remaining<const unsigned char> source, Remaining<char16_t> target) {
    const unsigned char* in = source.at;
    char16_t* out = target.at;
    bool good = true;
    while (good && source.end - in >= 20 && target.end - out >= 20) {
        if (bits(load(in)) == 0) {
            decodeAscii(in, out, static_cast<std::size_t>(std::min(source.end - in, target.end - out)));
        } else if (!decodeBlock({load(in), load(in + 1), load(in + 2)}, in, out, 0)) {
            const std::ptrdiff_t room = std::min(source.end - in, target.end - out) - 4;
            for (const unsigned char* const behind = in + std::min(room, STRETCH); good && in < behind;)
                good = decodeOne(in, out);
        }
    }
    source.at = in;
    target.at = out;
    return good;
}

NORQ_AVX2 bool encodeBlocks(Remaining<const char16_t> source, Remaining<unsigned char> target) {
    const char16_t* in = source.at;
    unsigned char* out = target.at;
    bool good = true;
    while (good && source.end - in >= 16 && target.end - out >= 32) {
        if (isAscii(loadWide(in))) {
            encodeAscii(in, out, static_cast<std::size_t>(std::min(source.end - in, target.end - out)));
        } else if (!encodeBlock(in, out)) {
            const std::ptrdiff_t room = std::min(source.end - in, (target.end - out) / 3) - 2;
            for (const char16_t* const behind = in + std::min(room, STRETCH); good && in < behind;)
                good = encodeOne(in, out);
        }
    }
    source.at = in;
    target.at = out;
    return good;
}

// What is left of a text is converted in a block that begins before it, so that part of it is done a second time. They
// do nothing where that is not possible.

NORQ_AVX2 void decodeTail(const unsigned char* begin, Remaining<const unsigned char> source,
                          Remaining<char16_t> target) {
    if (source.at == source.end || source.end - begin < 20 || target.end - target.at < 20)
        return;
    const unsigned char* window = source.end - 16;
    while (window > source.end - 20 && isContinuation(*window))
        --window;
    if (window > source.at || source.at - window >= 16)
        return;
    const __m128i block = load(window);
    decodeBlock({block, _mm_srli_si128(block, 1), _mm_srli_si128(block, 2)}, source.at, target.at,
                static_cast<unsigned>(source.at - window));
}

NORQ_AVX2 void encodeTail(const char16_t* begin, Remaining<const char16_t> source, Remaining<unsigned char> target) {
    if (source.end - source.at > 8 && target.end - target.at >= 32)
        encodeBlock(source.at, target.at);
    const char16_t* window = source.end - std::min<std::ptrdiff_t>(source.end - begin, 8);
    if (source.end - window < 8 || window > source.at || source.at == source.end || target.end - target.at < 32)
        return;
    unsigned char* out = target.at;
    for (const char16_t* known = window; known < source.at; ++known)
        out -= 1 + (*known >= 0x80) + (*known >= 0x800);
    if (encodeBlock(window, out)) {
        source.at = source.end;
        target.at = out;
    }
}

#endif

} // namespace

void decodeRuns(Remaining<const unsigned char> source, Remaining<char16_t> target) {
#if defined(__x86_64__)
    if (hasBlocks) {
        const unsigned char* const begin = source.at;
        if (!decodeBlocks(source, target))
            return;
        decodeTail(begin, source, target);
    }
#endif
    decodeEach(source, target);
}

void encodeRuns(Remaining<const char16_t> source, Remaining<unsigned char> target) {
#if defined(__x86_64__)
    if (hasBlocks) {
        const char16_t* const begin = source.at;
        if (!encodeBlocks(source, target))
            return;
        encodeTail(begin, source, target);
    }
#endif
    encodeEach(source, target);
}

} // namespace norq_std_internal

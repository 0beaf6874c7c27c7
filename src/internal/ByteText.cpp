// Base64 in blocks: a permutation and two multiplications put each six bits into a byte of its own, or back; ranges of
// the alphabet differ from their values by constants, which a look-up by sixteen supplies. The validity of a character
// is the conjunction of two look-ups, by its high and by its low four bits.

#include "internal/ByteText.h"

#include "base/WString.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#if defined(__x86_64__)
#include <immintrin.h>
#define NORQ_AVX2 __attribute__((target("avx2")))
#endif

namespace norq_std_internal {

namespace {

constexpr std::string_view Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view Digits = "0123456789ABCDEF";

/// The two characters of each twelve bits.
constexpr auto Pairs = [] {
    std::array<std::array<char, 2>, 4096> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i)
        pairs[i] = {Alphabet[i >> 6], Alphabet[i & 63]};
    return pairs;
}();

constexpr std::uint32_t NoSextet = 0x80000000;

/// The six bits of each character at each of the four places of a group.
constexpr auto Sextets = [] {
    std::array<std::array<std::uint32_t, 256>, 4> sextets{};
    for (std::size_t place = 0; place < 4; ++place) {
        sextets[place].fill(NoSextet);
        for (std::size_t i = 0; i < Alphabet.size(); ++i)
            sextets[place][static_cast<unsigned char>(Alphabet[i])] = static_cast<std::uint32_t>(i << (18 - 6 * place));
    }
    return sextets;
}();

constexpr auto DigitPairs = [] {
    std::array<std::array<char16_t, 2>, 256> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i)
        pairs[i] = {static_cast<char16_t>(Digits[i >> 4]), static_cast<char16_t>(Digits[i & 15])};
    return pairs;
}();

constexpr auto DigitValues = [] {
    std::array<std::uint8_t, 256> values{};
    for (std::size_t i = 0; i < Digits.size(); ++i)
        values[static_cast<unsigned char>(Digits[i])] = static_cast<std::uint8_t>(i);
    return values;
}();

std::uint32_t groupAt(const char* in) {
    const auto sextet = [in](std::size_t place) { return Sextets[place][static_cast<unsigned char>(in[place])]; };
    return sextet(0) | sextet(1) | sextet(2) | sextet(3);
}

unsigned digitValue(char digit) { return DigitValues[static_cast<unsigned char>(digit)]; }
unsigned digitValue(char16_t digit) { return digit < DigitValues.size() ? DigitValues[digit] : 0; }

template <class Unit>
void decodeDigits(const Unit* in, std::size_t bytes, unsigned char* out) {
    for (std::size_t i = 0; i < bytes; ++i)
        out[i] = static_cast<unsigned char>(digitValue(in[2 * i]) << 4 | digitValue(in[2 * i + 1]));
}

} // namespace

namespace portable {

void encodeBase64(const unsigned char* in, std::size_t groups, char* out) {
    for (; groups > 0; --groups, in += 3, out += 4) {
        const std::uint32_t bits = static_cast<std::uint32_t>(in[0]) << 16 | static_cast<std::uint32_t>(in[1]) << 8 |
                                   static_cast<std::uint32_t>(in[2]);
        std::memcpy(out, &Pairs[bits >> 12], 2);
        std::memcpy(out + 2, &Pairs[bits & 0xFFF], 2);
    }
}

void decodeBase64(Remaining<const char> source, Remaining<unsigned char> target) {
    const char* in = source.at;
    unsigned char* out = target.at;
    for (; source.end - in >= 4 && target.end - out >= 3; in += 4, out += 3) {
        const std::uint32_t bits = groupAt(in);
        if ((bits & NoSextet) != 0)
            break;
        out[0] = static_cast<unsigned char>(bits >> 16);
        out[1] = static_cast<unsigned char>(bits >> 8);
        out[2] = static_cast<unsigned char>(bits);
    }
    source.at = in;
    target.at = out;
}

const char* skipBase64(const char* at, const char* end) {
    while (end - at >= 4 && (groupAt(at) & NoSextet) == 0)
        at += 4;
    return at;
}

void encodeHexadecimal(const unsigned char* in, std::size_t bytes, char16_t* out) {
    for (std::size_t i = 0; i < bytes; ++i)
        std::memcpy(out + 2 * i, &DigitPairs[in[i]], sizeof DigitPairs[0]);
}

void decodeHexadecimal(const char16_t* in, std::size_t bytes, unsigned char* out) { decodeDigits(in, bytes, out); }

void decodeHexadecimal(const char* in, std::size_t bytes, unsigned char* out) { decodeDigits(in, bytes, out); }

} // namespace portable

#if defined(__x86_64__)

namespace {

// False until the module is initialised; earlier runs take the tables.
const bool hasBlocks = __builtin_cpu_supports("avx2") != 0;

NORQ_AVX2 inline __m256i load(const void* from) { return _mm256_loadu_si256(static_cast<const __m256i*>(from)); }
NORQ_AVX2 inline __m128i loadHalf(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }
NORQ_AVX2 inline void store(void* to, __m256i block) { _mm256_storeu_si256(static_cast<__m256i*>(to), block); }
NORQ_AVX2 inline void storeHalf(void* to, __m128i block) { _mm_storeu_si128(static_cast<__m128i*>(to), block); }

/// The same sixteen bytes in both lanes, for look-ups.
NORQ_AVX2 inline __m256i twice(__m128i table) { return _mm256_broadcastsi128_si256(table); }

/// 24 bytes, of 28 that are read, to 32 characters.
NORQ_AVX2 inline __m256i encodeBlock(const unsigned char* in) {
    const __m256i bytes = _mm256_shuffle_epi8(_mm256_setr_m128i(loadHalf(in), loadHalf(in + 12)),
                                              twice(_mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10)));
    const __m256i odd =
        _mm256_mulhi_epu16(_mm256_and_si256(bytes, _mm256_set1_epi32(0x0FC0FC00)), _mm256_set1_epi32(0x04000040));
    const __m256i even =
        _mm256_mullo_epi16(_mm256_and_si256(bytes, _mm256_set1_epi32(0x003F03F0)), _mm256_set1_epi32(0x01000010));
    const __m256i sextets = _mm256_or_si256(odd, even);
    // 0 for A to Z, 1 for a to z, 2 to 11 for the digits, 12 and 13 for the signs.
    const __m256i range = _mm256_sub_epi8(_mm256_subs_epu8(sextets, _mm256_set1_epi8(51)),
                                          _mm256_cmpgt_epi8(sextets, _mm256_set1_epi8(25)));
    const __m256i distances =
        twice(_mm_setr_epi8('A', 'a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                            '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 0, 0));
    return _mm256_add_epi8(sextets, _mm256_shuffle_epi8(distances, range));
}

/// Returns how many groups it has encoded.
NORQ_AVX2 std::size_t encodeBlocks(const unsigned char* in, std::size_t groups, char* out) {
    std::size_t done = 0;
    for (; groups - done >= 10; done += 8) // two groups more than are encoded, so that the reading ends in time
        store(out + 4 * done, encodeBlock(in + 3 * done));
    return done;
}

struct Sextets32 {
    __m256i values;
    bool valid;
};

/// The values of 32 characters, and whether all are of the alphabet.
NORQ_AVX2 inline Sextets32 sextetsOf(__m256i characters) {
    const __m256i lowTable = twice(
        _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A));
    const __m256i highTable = twice(
        _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10));
    const __m256i distances = twice(_mm_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0));
    const __m256i slash = _mm256_set1_epi8('/'); // the mask of four bits, with one more that look-ups ignore
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(characters, 4), slash);
    const __m256i low = _mm256_and_si256(characters, slash);
    const __m256i place = _mm256_add_epi8(_mm256_cmpeq_epi8(characters, slash), high);
    return {_mm256_add_epi8(characters, _mm256_shuffle_epi8(distances, place)),
            _mm256_testz_si256(_mm256_shuffle_epi8(lowTable, low), _mm256_shuffle_epi8(highTable, high)) != 0};
}

/// 24 bytes in front, of 32 values.
NORQ_AVX2 inline __m256i packSextets(__m256i values) {
    const __m256i twelve = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
    const __m256i groups = _mm256_madd_epi16(twelve, _mm256_set1_epi32(0x00011000));
    const __m256i inLanes =
        _mm256_shuffle_epi8(groups, twice(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1)));
    return _mm256_permutevar8x32_epi32(inLanes, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
}

NORQ_AVX2 void decodeBlocks(Remaining<const char> source, Remaining<unsigned char> target) {
    const char* in = source.at;
    unsigned char* out = target.at;
    for (; source.end - in >= 32 && target.end - out >= 32; in += 32, out += 24) {
        const Sextets32 sextets = sextetsOf(load(in));
        if (!sextets.valid)
            break;
        store(out, packSextets(sextets.values));
    }
    source.at = in;
    target.at = out;
}

NORQ_AVX2 const char* skipBlocks(const char* at, const char* end) {
    while (end - at >= 32 && sextetsOf(load(at)).valid)
        at += 32;
    return at;
}

/// Return how many bytes they have done.
NORQ_AVX2 std::size_t encodeDigitBlocks(const unsigned char* in, std::size_t bytes, char16_t* out) {
    const __m256i digits = twice(loadHalf(Digits.data()));
    std::size_t done = 0;
    for (; bytes - done >= 16; done += 16) {
        // Each byte in 16 bits, its high digit in the low half of them.
        const __m256i wide = _mm256_cvtepu8_epi16(loadHalf(in + done));
        const __m256i nibbles = _mm256_and_si256(
            _mm256_or_si256(_mm256_srli_epi16(wide, 4), _mm256_slli_epi16(wide, 8)), _mm256_set1_epi16(0x0F0F));
        const __m256i characters = _mm256_shuffle_epi8(digits, nibbles);
        store(out + 2 * done, _mm256_cvtepu8_epi16(_mm256_castsi256_si128(characters)));
        store(out + 2 * done + 16, _mm256_cvtepu8_epi16(_mm256_extracti128_si256(characters, 1)));
    }
    return done;
}

/// The characters that lie at `in`, in 32 bytes; what is no ASCII gives no digit.
NORQ_AVX2 inline __m256i loadCharacters(const char* in) { return load(in); }
NORQ_AVX2 inline __m256i loadCharacters(const char16_t* in) {
    return _mm256_permute4x64_epi64(_mm256_packus_epi16(load(in), load(in + 16)), 0xD8);
}

/// All bits of each byte that is at most this large.
NORQ_AVX2 inline __m256i upTo(__m256i values, char most) {
    return _mm256_cmpeq_epi8(_mm256_min_epu8(values, _mm256_set1_epi8(most)), values);
}

template <class Unit>
NORQ_AVX2 std::size_t decodeDigitBlocks(const Unit* in, std::size_t bytes, unsigned char* out) {
    std::size_t done = 0;
    for (; bytes - done >= 16; done += 16) {
        const __m256i characters = loadCharacters(in + 2 * done);
        const __m256i decimal = _mm256_sub_epi8(characters, _mm256_set1_epi8('0'));
        const __m256i letter = _mm256_sub_epi8(characters, _mm256_set1_epi8('A'));
        const __m256i values =
            _mm256_or_si256(_mm256_and_si256(decimal, upTo(decimal, 9)),
                            _mm256_and_si256(_mm256_add_epi8(letter, _mm256_set1_epi8(10)), upTo(letter, 5)));
        const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi16(0x0110));
        storeHalf(out + done, _mm_packus_epi16(_mm256_castsi256_si128(pairs), _mm256_extracti128_si256(pairs, 1)));
    }
    return done;
}

} // namespace

#endif

void encodeBase64(const unsigned char* in, std::size_t groups, char* out) {
    std::size_t done = 0;
#if defined(__x86_64__)
    if (hasBlocks)
        done = encodeBlocks(in, groups, out);
#endif
    portable::encodeBase64(in + 3 * done, groups - done, out + 4 * done);
}

void decodeBase64(Remaining<const char> source, Remaining<unsigned char> target) {
#if defined(__x86_64__)
    if (hasBlocks)
        decodeBlocks(source, target);
#endif
    portable::decodeBase64(source, target);
}

const char* skipBase64(const char* at, const char* end) {
#if defined(__x86_64__)
    if (hasBlocks)
        at = skipBlocks(at, end);
#endif
    return portable::skipBase64(at, end);
}

void encodeHexadecimal(const unsigned char* in, std::size_t bytes, char16_t* out) {
    std::size_t done = 0;
#if defined(__x86_64__)
    if (hasBlocks)
        done = encodeDigitBlocks(in, bytes, out);
#endif
    portable::encodeHexadecimal(in + done, bytes - done, out + 2 * done);
}

namespace {

template <class Unit>
void decodeAnyHexadecimal(const Unit* in, std::size_t bytes, unsigned char* out) {
    std::size_t done = 0;
#if defined(__x86_64__)
    if (hasBlocks)
        done = decodeDigitBlocks(in, bytes, out);
#endif
    portable::decodeHexadecimal(in + 2 * done, bytes - done, out + done);
}

} // namespace

void decodeHexadecimal(const char16_t* in, std::size_t bytes, unsigned char* out) {
    decodeAnyHexadecimal(in, bytes, out);
}

void decodeHexadecimal(const char* in, std::size_t bytes, unsigned char* out) { decodeAnyHexadecimal(in, bytes, out); }

} // namespace norq_std_internal

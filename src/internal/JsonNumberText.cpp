#include "internal/JsonNumberText.h"

#include "exception/NorqException.h"

#include <boost/lexical_cast.hpp>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace norq_std_internal {

using norq_std::NorqIllegalArgumentException;
using norq_std::WChar;
using norq_std::WString;

namespace {

constexpr int precision = 17;
constexpr std::uint64_t seventeenDigits = 100000000000000000U; // 10^17, the first number with one digit more

constexpr std::uint64_t powersOfTen[] = {
    1U,
    10U,
    100U,
    1000U,
    10000U,
    100000U,
    1000000U,
    10000000U,
    100000000U,
    1000000000U,
    10000000000U,
    100000000000U,
    1000000000000U,
    10000000000000U,
    100000000000000U,
    1000000000000000U,
    10000000000000000U,
    100000000000000000U,
    1000000000000000000U,
    10000000000000000000U,
};

/// The powers of ten that a double holds exactly.
constexpr double exactPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,
                                  1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19};

char* writeText(char* to, const char* text) { return std::copy_n(text, std::strlen(text), to); }

struct Decimal {
    std::uint64_t digits; ///< 17 of them
    int exponent;         ///< of the first digit
};

/// The 17 digits of a number from 0.001 up to 2^53 that is no integer, rounded half to even as printf rounds. The
/// number times a power of ten fits 128 bits, so that the remainder which decides the rounding is exact.
Decimal seventeenDigitsOf(double number) {
    __extension__ using Wide = unsigned __int128;
    const std::uint64_t bits = std::bit_cast<std::uint64_t>(number);
    const int binaryExponent = static_cast<int>(bits >> 52 & 0x7FF) - 1075;
    const std::uint64_t mantissa = (bits & ((std::uint64_t{1} << 52) - 1)) | std::uint64_t{1} << 52;
    const int shift = -binaryExponent;
    // log10(2) from below: the estimate is right or one too small. No number here has an exponent below -3.
    int exponent = std::max(((binaryExponent + 52) * 1233) >> 12, -3);
    for (;; ++exponent) {
        const Wide scaled = static_cast<Wide>(mantissa) * powersOfTen[precision - 1 - exponent];
        std::uint64_t digits = static_cast<std::uint64_t>(scaled >> shift);
        if (digits >= seventeenDigits)
            continue;
        const std::uint64_t remainder = static_cast<std::uint64_t>(scaled) & ((std::uint64_t{1} << shift) - 1);
        const std::uint64_t half = std::uint64_t{1} << (shift - 1);
        digits += remainder > half || (remainder == half && (digits & 1) != 0) ? 1 : 0;
        return digits == seventeenDigits ? Decimal{digits / 10, exponent + 1} : Decimal{digits, exponent};
    }
}

char* writeFixed(char* to, Decimal decimal) {
    int count = precision;
    for (; decimal.digits % 10 == 0; decimal.digits /= 10)
        --count;
    char digits[precision];
    std::to_chars(digits, digits + count, decimal.digits);
    if (decimal.exponent < 0) {
        to = writeText(to, "0.");
        to = std::fill_n(to, -decimal.exponent - 1, '0');
        return std::copy_n(digits, count, to);
    }
    const int whole = std::min(count, decimal.exponent + 1);
    to = std::copy_n(digits, whole, to);
    to = std::fill_n(to, decimal.exponent + 1 - whole, '0');
    if (count > whole) {
        *to++ = '.';
        to = std::copy_n(digits + whole, count - whole, to);
    }
    return to;
}

} // namespace

std::size_t writeJsonNumber(double number, char (&text)[jsonNumberSize]) {
    char* to = text;
    const double magnitude = std::fabs(number);
    if (!(magnitude >= 1e-3 && magnitude < 1e17) && std::isfinite(number) && number != 0) {
        const auto [end, error] =
            std::to_chars(text, text + jsonNumberSize, number, std::chars_format::general, precision);
        if (error != std::errc())
            throw NorqIllegalArgumentException(u"Unable to convert number");
        return static_cast<std::size_t>(end - text);
    }
    if (std::signbit(number))
        *to++ = '-';
    if (std::isnan(number))
        to = writeText(to, "nan");
    else if (std::isinf(number))
        to = writeText(to, "infinity");
    else if (const auto whole = static_cast<std::uint64_t>(magnitude); static_cast<double>(whole) == magnitude)
        to = std::to_chars(to, text + jsonNumberSize, whole).ptr;
    else
        to = writeFixed(to, seventeenDigitsOf(magnitude));
    return static_cast<std::size_t>(to - text);
}

const WChar* readShortJsonNumber(const WChar* p, const WChar* end, double& number) {
    const bool negative = p != end && *p == u'-';
    p += negative ? 1 : 0;
    std::uint64_t digits = 0;
    const WChar* first = p;
    for (; p != end && *p >= u'0' && *p <= u'9'; ++p)
        digits = digits * 10 + (*p - u'0');
    std::ptrdiff_t count = p - first;
    std::ptrdiff_t decimals = 0;
    if (p != end && *p == u'.') {
        first = ++p;
        for (; p != end && *p >= u'0' && *p <= u'9'; ++p)
            digits = digits * 10 + (*p - u'0');
        decimals = p - first;
        count += decimals;
    }
    // Both operands are exact, so that the one rounding of the division makes the nearest double.
    if (count == 0 || count > 19 || digits > std::uint64_t{1} << 53)
        return nullptr;
    number = static_cast<double>(digits);
    if (decimals != 0)
        number /= exactPowers[decimals];
    if (negative)
        number = -number;
    return p;
}

double readJsonNumber(const WChar* text, const WChar* end) {
    double number = 0;
    if (readShortJsonNumber(text, end, number) == end)
        return number;
    // A unit outside ASCII is no part of any number, nor is the question mark.
    const auto narrow = [](WChar unit) { return unit < 0x80 ? static_cast<char>(unit) : '?'; };
    char shortText[64];
    if (end - text <= static_cast<std::ptrdiff_t>(sizeof shortText)) {
        const char* const last = std::transform(text, end, shortText, narrow);
        const auto [parsed, error] = std::from_chars(shortText, last, number);
        if (error == std::errc() && parsed == last)
            return number;
    }
    std::string longText(static_cast<std::size_t>(end - text), '\0');
    std::transform(text, end, longText.begin(), narrow);
    try {
        return boost::lexical_cast<double>(longText);
    } catch (const boost::bad_lexical_cast& e) {
        const char* what = e.what();
        throw NorqIllegalArgumentException(WString(what, what + std::strlen(what)));
    }
}

} // namespace norq_std_internal

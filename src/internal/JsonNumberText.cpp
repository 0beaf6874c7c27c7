#include "internal/JsonNumberText.h"

#include "exception/NorqException.h"

#include <boost/lexical_cast/bad_lexical_cast.hpp>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace norq_std_internal {

using norq_std::NorqIllegalArgumentException;
using norq_std::WChar;
using norq_std::WString;

namespace {

__extension__ using Wide = unsigned __int128;

constexpr int precision = 17;
constexpr std::ptrdiff_t mostDigits = 19;                      ///< that always fit 64 bits
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

/// Four units as a number; false, with nothing changed, if one of them is no digit.
bool readFourDigits(const WChar* text, std::uint64_t& digits) {
    static_assert(std::endian::native == std::endian::little, "the first unit is the lowest lane");
    std::uint64_t lanes;
    std::memcpy(&lanes, text, sizeof lanes);
    lanes -= 0x0030'0030'0030'0030; // what is below a digit becomes large
    if (((lanes | (lanes + 0x7FF6'7FF6'7FF6'7FF6)) & 0x8000'8000'8000'8000) != 0)
        return false;
    // The highest lane of the product is the sum of the lanes times 1000, 100, 10 and 1.
    digits = digits * 10000 + ((lanes * 0x03E8'0064'000A'0001) >> 48);
    return true;
}

const WChar* readDigits(const WChar* text, const WChar* end, std::uint64_t& digits) {
    while (end - text >= 4 && readFourDigits(text, digits))
        text += 4;
    for (; text != end && *text >= u'0' && *text <= u'9'; ++text)
        digits = digits * 10 + (*text - u'0');
    return text;
}

/// Whether a number that no double holds is too small for one, rather than too large.
bool isTiny(std::string_view number) {
    const std::size_t mark = number.find_first_of("eE");
    const std::string_view mantissa = number.substr(0, mark);
    const auto point = static_cast<std::int64_t>(std::min(mantissa.find('.'), mantissa.size()));
    const auto leading = static_cast<std::int64_t>(mantissa.find_first_of("123456789"));
    std::int64_t exponent = 0;
    if (mark != std::string_view::npos) {
        const std::string_view text = number.substr(mark + (number[mark + 1] == '+' ? 2 : 1));
        if (std::from_chars(text.data(), text.data() + text.size(), exponent).ec == std::errc::result_out_of_range)
            return text.front() == '-';
    }
    return exponent < leading - point;
}

/// The double nearest to a quotient that is neither too large nor too small for one.
double divide(std::uint64_t dividend, std::uint64_t divisor) {
    const int dividendShift = std::countl_zero(dividend);
    const int divisorShift = std::countl_zero(divisor);
    const Wide scaled = static_cast<Wide>(dividend << dividendShift) << 63;
    const std::uint64_t unit = divisor << divisorShift;
    std::uint64_t quotient = static_cast<std::uint64_t>(scaled / unit); // of 63 or 64 bits
    if (static_cast<Wide>(quotient) * unit != scaled)
        quotient |= 1; // so that the conversion, which drops ten bits at least, takes no remainder for a tie
    const int exponent = divisorShift - dividendShift - 63; // from -126 to 0
    return static_cast<double>(quotient) * std::bit_cast<double>(static_cast<std::uint64_t>(1023 + exponent) << 52);
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
    p = readDigits(p, end, digits);
    std::ptrdiff_t count = p - first;
    std::ptrdiff_t decimals = 0;
    if (p != end && *p == u'.') {
        first = ++p;
        p = readDigits(p, end, digits);
        decimals = p - first;
        count += decimals;
    }
    if (count == 0 || count > mostDigits)
        return nullptr;
    if (decimals == 0)
        number = static_cast<double>(digits);
    else if (digits <= std::uint64_t{1} << 53) // both operands are exact, and the division rounds once
        number = static_cast<double>(digits) / exactPowers[decimals];
    else
        number = divide(digits, powersOfTen[decimals]);
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
    const auto length = static_cast<std::size_t>(end - text);
    char shortText[64];
    std::string longText;
    if (length > sizeof shortText)
        longText.resize(length);
    char* const first = length > sizeof shortText ? longText.data() : shortText;
    const char* const last = std::transform(text, end, first, narrow);
    const bool plus = length > 1 && *first == '+' && first[1] != '-';
    const auto [parsed, error] = std::from_chars(first + (plus ? 1 : 0), last, number);
    if (error == std::errc() && (parsed == last || (*parsed == '(' && std::isnan(number) && last[-1] == ')')))
        return number;
    if (error == std::errc::result_out_of_range && parsed == last && isTiny({first, last}))
        return *first == '-' ? -0.0 : 0.0;
    const std::string_view what = boost::bad_lexical_cast().what();
    throw NorqIllegalArgumentException(WString(what.begin(), what.end()));
}

} // namespace norq_std_internal

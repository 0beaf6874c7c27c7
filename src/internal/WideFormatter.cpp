#include "internal/WideFormatter.h"

#include "exception/NorqException.h"
#include "platform/CodePage.h"

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

namespace norq_std_internal {

namespace {

using norq_std::FormatArgument;
using norq_std::NorqIllegalArgumentException;
using norq_std::WChar;
using norq_std::WString;
using norq_std::detail::FormatArgumentKind;
using norq_std::detail::FormatConversion;
using norq_std::detail::FormatError;
using norq_std::detail::FormatLength;
using norq_std::detail::FormatSpec;

constexpr std::size_t unbounded = FormatArgument::unbounded;

/// Any wider field passes the limit that checked calls have, so that nothing larger need be told apart.
constexpr std::int32_t largestSize = FormatBuffer::limit + 1;

WString decimal(std::size_t value) {
    WString text;
    for (; value >= 10; value /= 10)
        text.insert(text.begin(), static_cast<WChar>(u'0' + value % 10));
    text.insert(text.begin(), static_cast<WChar>(u'0' + value));
    return text;
}

[[noreturn, gnu::cold]] void refuse(const WChar* reason, std::size_t position) {
    throw NorqIllegalArgumentException(reason + (u" at position " + decimal(position)));
}

[[noreturn, gnu::cold]] void refuse(FormatError error, std::size_t position) {
    switch (error) {
    case FormatError::Truncated:
        refuse(u"Incomplete conversion", position);
    case FormatError::UnsuitableLength:
        refuse(u"Length does not suit the conversion", position);
    case FormatError::WriteBack:
        refuse(u"Conversion %n is not allowed", position);
    default:
        refuse(u"Unknown conversion", position);
    }
}

/// The value as the length of its conversion and the promotions of C see it.
std::uint64_t narrowed(std::uint64_t value, FormatLength length, bool isSigned) {
    switch (length) {
    case FormatLength::Byte:
        return isSigned ? static_cast<std::uint64_t>(static_cast<std::int8_t>(value))
                        : static_cast<std::uint8_t>(value);
    case FormatLength::Half:
        return isSigned ? static_cast<std::uint64_t>(static_cast<std::int16_t>(value))
                        : static_cast<std::uint16_t>(value);
    default:
        return value;
    }
}

struct Integer {
    std::uint64_t magnitude;
    bool negative;
};

Integer fromSigned(std::uint64_t value) {
    return static_cast<std::int64_t>(value) < 0 ? Integer{0 - value, true} : Integer{value, false};
}

struct Real {
    double value = 0;
    long double longValue = 0;
    bool isLong = false;
};

/// The arguments of a C-variadic call. Their types are what the format says.
class VaListSource {
public:
    explicit VaListSource(std::va_list arguments) { va_copy(list, arguments); }
    ~VaListSource() { va_end(list); }
    VaListSource(const VaListSource&) = delete;
    VaListSource& operator=(const VaListSource&) = delete;

    void expect(FormatConversion, std::size_t) {}

    std::int32_t size(std::size_t) { return va_arg(list, int); }

    Integer integer(FormatConversion conversion, FormatLength length) {
        const bool isSigned = conversion == FormatConversion::SignedInteger;
        std::uint64_t value;
        if (length == FormatLength::Max)
            value = va_arg(list, std::uint64_t);
        else if (isSigned)
            value = static_cast<std::uint64_t>(va_arg(list, std::int32_t));
        else
            value = va_arg(list, std::uint32_t);
        value = narrowed(value, length, isSigned);
        return isSigned ? fromSigned(value) : Integer{value, false};
    }

    std::uint64_t unit() { return static_cast<std::uint64_t>(va_arg(list, int)); }

    Real real(const FormatSpec& spec) {
        if (spec.length == FormatLength::LongDouble)
            return {.longValue = va_arg(list, long double), .isLong = true};
        return {.value = va_arg(list, double)};
    }

    FormatArgument::Text<WChar> wideText() { return {va_arg(list, const WChar*), unbounded}; }
    FormatArgument::Text<char> narrowText() { return {va_arg(list, const char*), unbounded}; }
    const volatile void* pointer() { return va_arg(list, const void*); }

private:
    std::va_list list;
};

/// Arguments that know their types, and so can be found not to fit.
class TypedSource {
public:
    TypedSource(const FormatArgument* first, const FormatArgument* last)
        : next(first)
        , end(last) {}

    void expect(FormatConversion conversion, std::size_t position) {
        if (next == end)
            refuse(u"No argument for the conversion", position);
        if (!fitsConversion(conversion, next->kind()))
            refuse(u"Argument does not fit the conversion", position);
    }

    std::int32_t size(std::size_t position) {
        if (next == end || !isInteger(next->kind()))
            refuse(u"No integer for the width or precision of the conversion", position);
        const bool isSigned = next->kind() == FormatArgumentKind::SignedInteger;
        const std::uint64_t value = (next++)->asInteger();
        if (isSigned && static_cast<std::int64_t>(value) < 0)
            return static_cast<std::int32_t>(std::max<std::int64_t>(static_cast<std::int64_t>(value), -largestSize));
        return static_cast<std::int32_t>(std::min<std::uint64_t>(value, largestSize));
    }

    Integer integer(FormatConversion conversion, FormatLength length) {
        const FormatArgument& argument = *next++;
        const bool converts = length == FormatLength::Byte || length == FormatLength::Half;
        if (conversion == FormatConversion::SignedInteger) {
            const bool isUnsigned = argument.kind() == FormatArgumentKind::UnsignedInteger;
            if (isUnsigned && !converts)
                return {argument.asInteger(), false};
            return fromSigned(narrowed(argument.asInteger(), length, true));
        }
        if (converts)
            return {narrowed(argument.asInteger(), length, false), false};
        return {argument.sizeOfInteger() > 4 ? argument.asInteger() : static_cast<std::uint32_t>(argument.asInteger()),
                false};
    }

    std::uint64_t unit() {
        const FormatArgument& argument = *next++;
        return argument.sizeOfInteger() == 1 ? static_cast<std::uint8_t>(argument.asInteger()) : argument.asInteger();
    }

    Real real(const FormatSpec&) {
        const FormatArgument& argument = *next++;
        if (argument.kind() == FormatArgumentKind::LongDouble)
            return {.longValue = argument.asLongDouble(), .isLong = true};
        return {.value = argument.asDouble()};
    }

    FormatArgument::Text<WChar> wideText() { return (next++)->asWideText(); }
    FormatArgument::Text<char> narrowText() { return (next++)->asNarrowText(); }
    const volatile void* pointer() { return (next++)->asPointer(); }

private:
    const FormatArgument* next;
    const FormatArgument* end;
};

constexpr char digitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839404142434445464748"
    "4950515253545556575859606162636465666768697071727374757677787980818283848586878889909192939495969798"
    "99";

int countDecimalDigits(std::uint64_t value) {
    int digits = 1;
    for (;; value /= 10000, digits += 4) {
        if (value < 10)
            return digits;
        if (value < 100)
            return digits + 1;
        if (value < 1000)
            return digits + 2;
        if (value < 10000)
            return digits + 3;
    }
}

int countDigits(std::uint64_t value, WChar letter) {
    const int bits = std::max(1, static_cast<int>(std::bit_width(value)));
    if (letter == u'x' || letter == u'X')
        return (bits + 3) / 4;
    if (letter == u'o')
        return (bits + 2) / 3;
    return countDecimalDigits(value);
}

/// Writes the digits that end before `end`.
void writeDecimal(std::uint64_t value, WChar* end) {
    for (; value >= 100; value /= 100) {
        const std::size_t pair = value % 100 * 2;
        *--end = static_cast<WChar>(digitPairs[pair + 1]);
        *--end = static_cast<WChar>(digitPairs[pair]);
    }
    if (value >= 10) {
        *--end = static_cast<WChar>(digitPairs[value * 2 + 1]);
        *--end = static_cast<WChar>(digitPairs[value * 2]);
    } else {
        *--end = static_cast<WChar>(u'0' + value);
    }
}

void writeDigits(std::uint64_t value, WChar letter, WChar* end) {
    if (letter != u'x' && letter != u'X' && letter != u'o')
        return writeDecimal(value, end);
    const char* digits = letter == u'X' ? "0123456789ABCDEF" : "0123456789abcdef";
    const int shift = letter == u'o' ? 3 : 4;
    do
        *--end = static_cast<WChar>(digits[value & ((1U << shift) - 1)]);
    while ((value >>= shift) != 0);
}

template <class Source>
class Engine {
public:
    Engine(FormatBuffer& buffer, Source& arguments, FormatDialect formatDialect)
        : out(buffer)
        , source(arguments)
        , dialect(formatDialect)
        , widest(static_cast<std::int32_t>(buffer.largest() + 1)) {}

    void run(const WChar* format) {
        const WChar* p = format;
        for (;;) {
            p += out.appendLiteral(p);
            while (*p != 0 && *p != u'%') // what is left of a literal that passed the limit
                ++p;
            if (*p == 0)
                return;
            const std::size_t position = static_cast<std::size_t>(p - format);
            ++p;
            if (*p == u'%') {
                out.append(*p++);
                continue;
            }
            if (convertPlain(p, position))
                continue;
            FormatSpec spec;
            if (const FormatError error = parseConversion(p, spec); error != FormatError::None) [[unlikely]]
                refuse(error, position);
            if (dialect == FormatDialect::Narrow)
                exchangeWidths(spec);
            settleSizes(spec, position);
            source.expect(spec.conversion, position);
            convert(spec);
        }
    }

private:
    /// The short road of the conversions that are bare of flags, sizes and, but for texts, lengths.
    bool convertPlain(const WChar*& p, std::size_t position) {
        const WChar letter = *p == u'l' || *p == u'h' ? p[1] : *p;
        switch (letter) {
        case u'd':
        case u'u':
            if (p[0] != letter)
                return false;
            convertDecimal(letter == u'd' ? FormatConversion::SignedInteger : FormatConversion::UnsignedInteger,
                           position);
            break;
        case u's':
            if (*p == u'h' || (*p == u's' && dialect == FormatDialect::Narrow)) {
                source.expect(FormatConversion::NarrowText, position);
                appendText(source.narrowText(), unbounded);
            } else {
                source.expect(FormatConversion::WideText, position);
                appendText(source.wideText(), unbounded);
            }
            break;
        default:
            return false;
        }
        p += *p == letter ? 1 : 2;
        return true;
    }

    void convertDecimal(FormatConversion conversion, std::size_t position) {
        source.expect(conversion, position);
        const Integer integer = source.integer(conversion, FormatLength::None);
        const auto digits = static_cast<std::size_t>(countDecimalDigits(integer.magnitude));
        WChar* to = out.claim(digits + (integer.negative ? 1 : 0));
        if (to == nullptr)
            return;
        if (integer.negative)
            *to++ = u'-';
        writeDecimal(integer.magnitude, to + digits);
    }

    /// What the narrow dialect reads otherwise.
    static void exchangeWidths(FormatSpec& spec) {
        if (spec.length != FormatLength::None)
            return;
        if (spec.letter == u's' || spec.letter == u'S')
            spec.conversion = spec.letter == u's' ? FormatConversion::NarrowText : FormatConversion::WideText;
        else if (spec.letter == u'c' || spec.letter == u'C')
            spec.conversion = spec.letter == u'c' ? FormatConversion::NarrowUnit : FormatConversion::WideUnit;
    }

    void settleSizes(FormatSpec& spec, std::size_t position) {
        if (spec.width == FormatSpec::fromArgument) {
            spec.width = source.size(position);
            if (spec.width < 0) {
                spec.left = true;
                spec.width = -std::max(spec.width, -widest);
            }
        }
        if (spec.precision == FormatSpec::fromArgument)
            spec.precision = std::max(source.size(position), FormatSpec::none);
        spec.width = std::min(spec.width, widest);
        spec.precision = std::min(spec.precision, widest);
    }

    void convert(const FormatSpec& spec) {
        const std::size_t start = out.size();
        switch (spec.conversion) {
        case FormatConversion::SignedInteger:
        case FormatConversion::UnsignedInteger:
            return convertInteger(spec, source.integer(spec.conversion, spec.length));
        case FormatConversion::Floating:
            return convertReal(spec, source.real(spec));
        case FormatConversion::WideUnit:
            out.append(static_cast<WChar>(source.unit()));
            break;
        case FormatConversion::NarrowUnit:
            appendNarrowUnit(static_cast<char>(source.unit()));
            break;
        case FormatConversion::WideText:
            appendText(source.wideText(), precisionOf(spec));
            break;
        case FormatConversion::NarrowText:
            appendText(source.narrowText(), precisionOf(spec));
            break;
        case FormatConversion::Pointer:
            return convertPointer(spec, source.pointer());
        }
        if (spec.width > 0)
            out.pad(start, static_cast<std::size_t>(spec.width), spec.left);
    }

    static std::size_t precisionOf(const FormatSpec& spec) {
        return spec.precision < 0 ? unbounded : static_cast<std::size_t>(spec.precision);
    }

    template <class Unit>
    void appendText(FormatArgument::Text<Unit> text, std::size_t precision) {
        if (text.data == nullptr && text.bound == unbounded)
            out.appendWord(u"(null)", precision);
        else if constexpr (std::is_same_v<Unit, WChar>)
            out.appendText(text.data, std::min(text.bound, precision));
        else if (dialect == FormatDialect::Wide)
            out.appendUtf8(text.data, std::min(text.bound, precision), precision < text.bound);
        else
            appendCodePage({text.data, strnlen(text.data, std::min(text.bound, precision))});
    }

    void appendNarrowUnit(char byte) {
        if (dialect == FormatDialect::Wide)
            out.append(static_cast<std::uint8_t>(byte));
        else
            appendCodePage({&byte, 1});
    }

    void appendCodePage(std::string_view bytes) {
        WString text;
        platform::decodeCodePage(0, bytes, text);
        for (const WChar unit : text)
            out.append(unit);
    }

    void convertPointer(const FormatSpec& spec, const volatile void* pointer) {
        if (pointer == nullptr) {
            const std::size_t start = out.size();
            out.appendWord(u"(nil)", unbounded);
            return out.pad(start, static_cast<std::size_t>(std::max(spec.width, 0)), spec.left);
        }
        FormatSpec hexadecimal = spec;
        hexadecimal.conversion = FormatConversion::UnsignedInteger;
        hexadecimal.letter = u'x';
        hexadecimal.alternate = true;
        convertInteger(hexadecimal, {reinterpret_cast<std::uintptr_t>(pointer), false});
    }

    void convertInteger(const FormatSpec& spec, Integer integer) {
        WChar prefix[2];
        std::size_t prefixLength = 0;
        if (spec.conversion == FormatConversion::SignedInteger) {
            if (integer.negative || spec.plus || spec.space)
                prefix[prefixLength++] = integer.negative ? u'-' : spec.plus ? u'+' : u' ';
        } else if (spec.alternate && (spec.letter == u'x' || spec.letter == u'X') && integer.magnitude != 0) {
            prefix[prefixLength++] = u'0';
            prefix[prefixLength++] = spec.letter;
        }
        std::size_t digits = static_cast<std::size_t>(countDigits(integer.magnitude, spec.letter));
        if (integer.magnitude == 0 && spec.precision == 0)
            digits = 0;
        const std::size_t width = static_cast<std::size_t>(std::max(spec.width, 0));
        std::size_t zeros = 0;
        if (spec.precision >= 0 && static_cast<std::size_t>(spec.precision) > digits)
            zeros = static_cast<std::size_t>(spec.precision) - digits;
        if (spec.letter == u'o' && spec.alternate && zeros == 0 && (integer.magnitude != 0 || digits == 0))
            zeros = 1;
        if (spec.zero && !spec.left && spec.precision < 0 && width > prefixLength + zeros + digits)
            zeros = width - prefixLength - digits;

        const std::size_t length = prefixLength + zeros + digits;
        const std::size_t blanks = width > length ? width - length : 0;
        WChar* to = out.claim(length + blanks);
        if (to == nullptr)
            return;
        if (!spec.left)
            to = std::fill_n(to, blanks, u' ');
        to = std::copy_n(prefix, prefixLength, to);
        to = std::fill_n(to, zeros, u'0');
        if (digits != 0)
            writeDigits(integer.magnitude, spec.letter, to + digits);
        if (spec.left)
            std::fill_n(to + digits, blanks, u' ');
    }

    void convertReal(const FormatSpec& spec, const Real& real) {
        char narrow[512];
        const std::size_t length = print(narrow, sizeof narrow, spec, real);
        if (length < sizeof narrow)
            return placeReal(spec, narrow, length);
        if (length > out.largest()) {
            out.claim(length);
            return;
        }
        const auto longer = std::make_unique_for_overwrite<char[]>(length + 1);
        print(longer.get(), length + 1, spec, real);
        placeReal(spec, longer.get(), length);
    }

    static std::size_t print(char* to, std::size_t size, const FormatSpec& spec, const Real& real) {
        char format[10];
        char* f = format;
        *f++ = '%';
        if (spec.plus)
            *f++ = '+';
        if (spec.space)
            *f++ = ' ';
        if (spec.alternate)
            *f++ = '#';
        *f++ = '.';
        *f++ = '*';
        if (real.isLong)
            *f++ = 'L';
        *f++ = static_cast<char>(spec.letter);
        *f = 0;
        const int length = real.isLong ? std::snprintf(to, size, format, spec.precision, real.longValue)
                                       : std::snprintf(to, size, format, spec.precision, real.value);
        return length < 0 ? FormatBuffer::unlimited + 1 : static_cast<std::size_t>(length);
    }

    void placeReal(const FormatSpec& spec, const char* text, std::size_t length) {
        const std::size_t start = out.size();
        const std::size_t width = static_cast<std::size_t>(std::max(spec.width, 0));
        std::size_t prefix = text[0] == '-' || text[0] == '+' || text[0] == ' ' ? 1 : 0;
        const bool finite = text[prefix] >= '0' && text[prefix] <= '9';
        if (spec.zero && !spec.left && finite && width > length) {
            if (text[prefix] == '0' && (text[prefix + 1] | 0x20) == 'x')
                prefix += 2;
            out.appendUtf8(text, prefix, false);
            out.fill(width - length, u'0');
            out.appendUtf8(text + prefix, length - prefix, false);
            return;
        }
        out.appendUtf8(text, length, false);
        out.pad(start, width, spec.left);
    }

    FormatBuffer& out;
    Source& source;
    const FormatDialect dialect;
    const std::int32_t widest; // any wider field passes the limit of the text
};

} // namespace

void formatInto(FormatBuffer& out, const WChar* format, std::va_list arguments, FormatDialect dialect) {
    VaListSource source(arguments);
    Engine<VaListSource>(out, source, dialect).run(format);
}

void formatInto(FormatBuffer& out, const WChar* format, std::initializer_list<FormatArgument> arguments) {
    TypedSource source(arguments.begin(), arguments.end());
    Engine<TypedSource>(out, source, FormatDialect::Wide).run(format);
}

} // namespace norq_std_internal

#pragma once

#include "base/Export.h"
#include "base/FormatSpec.h"
#include "base/WString.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

namespace norq_std {

/// \file
/// The wide printf dialect and its checked front end.
///
/// A conversion is `%`, flags of `-+ 0#`, a width, a precision behind a dot, a length, and a letter. Width and
/// precision may be `*`: a negative width means `-` and its absolute value, a negative precision none at all. What the
/// letters take in a C-variadic call:
///
/// - `d i u o x X`: an integer of 32 bits; with `ll j z t I I64` of 64 bits; `l` and `I32` change nothing, `h` and `hh`
///   convert to 16 and 8 bits.
/// - `e f g a E F G A`: `double`; with `L` `long double`.
/// - `s ls lS`: `const char16_t*`. `S hs hhs`: `const char*` to UTF-8, of which a byte outside a
///   well-formed character becomes the unit of its value.
/// - `c lc lC`: one wide unit. `C hc hhc`: one byte, which becomes the unit of its value.
/// - `p`: a pointer.
///
/// So `long` has 32 bits here, as everywhere in the library; a 64-bit value takes `ll`. A precision bounds how many
/// units (bytes) of a text are read, so that the text need not end in zero; a null text prints as "(null)". `%n`, and
/// whatever else is not in the list, is refused with an exception and never read past.
///
/// The checked front end knows the real types of its arguments: integers of any size print whole whatever the length
/// says (`h` and `hh` still convert), and texts may also be string objects and views, which end at their first zero
/// unit as all texts do. A mistake does not compile.

namespace detail {

/// What an argument is.
enum class FormatArgumentKind : std::uint8_t {
    SignedInteger,
    UnsignedInteger,
    NarrowUnit,
    WideUnit,
    Double,
    LongDouble,
    WideText,
    NarrowText,
    Pointer,
    Unsupported,
};

constexpr bool isInteger(FormatArgumentKind kind) {
    return kind == FormatArgumentKind::SignedInteger || kind == FormatArgumentKind::UnsignedInteger;
}

/// Whether a conversion takes an argument of this kind.
constexpr bool fitsConversion(FormatConversion conversion, FormatArgumentKind kind) {
    switch (conversion) {
    case FormatConversion::SignedInteger:
    case FormatConversion::UnsignedInteger:
    case FormatConversion::WideUnit:
        return isInteger(kind) || kind == FormatArgumentKind::NarrowUnit || kind == FormatArgumentKind::WideUnit;
    case FormatConversion::NarrowUnit:
        return isInteger(kind) || kind == FormatArgumentKind::NarrowUnit;
    case FormatConversion::Floating:
        return kind == FormatArgumentKind::Double || kind == FormatArgumentKind::LongDouble;
    case FormatConversion::WideText:
        return kind == FormatArgumentKind::WideText;
    case FormatConversion::NarrowText:
        return kind == FormatArgumentKind::NarrowText;
    case FormatConversion::Pointer:
        return kind == FormatArgumentKind::Pointer;
    }
    return false;
}

/// An integer that is no unit of text.
template <class T>
concept Number = std::same_as<T, bool> ||
    (std::integral<T> && (std::same_as<T, std::make_signed_t<T>> || std::same_as<T, std::make_unsigned_t<T>>));

template <class T>
consteval FormatArgumentKind formatArgumentKind() {
    using D = std::decay_t<T>;
    if constexpr (std::is_enum_v<D>)
        return std::is_signed_v<std::underlying_type_t<D>> ? FormatArgumentKind::SignedInteger
                                                           : FormatArgumentKind::UnsignedInteger;
    else if constexpr (std::is_same_v<D, char>)
        return FormatArgumentKind::NarrowUnit;
    else if constexpr (std::is_same_v<D, char16_t>)
        return FormatArgumentKind::WideUnit;
    else if constexpr (Number<D> && sizeof(D) <= sizeof(std::uint64_t))
        return std::is_signed_v<D> ? FormatArgumentKind::SignedInteger : FormatArgumentKind::UnsignedInteger;
    else if constexpr (std::is_same_v<D, float> || std::is_same_v<D, double>)
        return FormatArgumentKind::Double;
    else if constexpr (std::is_same_v<D, long double>)
        return FormatArgumentKind::LongDouble;
    else if constexpr (std::is_null_pointer_v<D>)
        return FormatArgumentKind::Pointer;
    else if constexpr (std::is_convertible_v<const D&, std::u16string_view>)
        return FormatArgumentKind::WideText;
    else if constexpr (std::is_convertible_v<const D&, std::string_view>)
        return FormatArgumentKind::NarrowText;
    else if constexpr (std::is_pointer_v<D> && std::is_convertible_v<D, const volatile void*>)
        return FormatArgumentKind::Pointer;
    else
        return FormatArgumentKind::Unsupported;
}

// Never defined: the compiler names the one that a refused format calls.
void formatHasAnUnknownOrTruncatedConversion();
void formatHasMoreConversionsThanArguments();
void formatHasFewerConversionsThanArguments();
void formatConversionDoesNotFitItsArgument();
void formatWidthOrPrecisionIsNoInteger();

consteval void checkFormat(const WChar* p, std::initializer_list<FormatArgumentKind> arguments) {
    const FormatArgumentKind* argument = arguments.begin();
    const auto takeSize = [&](std::int32_t size) {
        if (size != FormatSpec::fromArgument)
            return;
        if (argument == arguments.end())
            formatHasMoreConversionsThanArguments();
        if (!isInteger(*argument++))
            formatWidthOrPrecisionIsNoInteger();
    };
    while (*p != 0) {
        if (*p++ != u'%')
            continue;
        if (*p == u'%') {
            ++p;
            continue;
        }
        FormatSpec spec;
        if (parseConversion(p, spec) != FormatError::None)
            formatHasAnUnknownOrTruncatedConversion();
        takeSize(spec.width);
        takeSize(spec.precision);
        if (argument == arguments.end())
            formatHasMoreConversionsThanArguments();
        if (!fitsConversion(spec.conversion, *argument++))
            formatConversionDoesNotFitItsArgument();
    }
    if (argument != arguments.end())
        formatHasFewerConversionsThanArguments();
}

} // namespace detail

/// One argument of the checked formatter, with its real type. It refers to texts and does not copy them: it lives for
/// the call alone.
class FormatArgument {
public:
    static constexpr std::size_t unbounded = static_cast<std::size_t>(-1);

    template <class T>
    constexpr FormatArgument(const T& value)
        : argumentKind(detail::formatArgumentKind<T>()) {
        using Kind = detail::FormatArgumentKind;
        constexpr Kind kind = detail::formatArgumentKind<T>();
        static_assert(kind != Kind::Unsupported, "the formatter takes numbers, characters, texts and object pointers");
        if constexpr (kind == Kind::Double) {
            real = static_cast<double>(value);
        } else if constexpr (kind == Kind::LongDouble) {
            longReal = value;
        } else if constexpr (kind == Kind::WideText) {
            if constexpr (std::is_pointer_v<std::decay_t<T>>)
                wideText = {value, unbounded};
            else
                wideText = {std::u16string_view(value).data(), std::u16string_view(value).size()};
        } else if constexpr (kind == Kind::NarrowText) {
            if constexpr (std::is_pointer_v<std::decay_t<T>>)
                narrowText = {value, unbounded};
            else
                narrowText = {std::string_view(value).data(), std::string_view(value).size()};
        } else if constexpr (kind == Kind::Pointer) {
            pointer = value;
        } else {
            integer = static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
            integerBytes = sizeof(T);
        }
    }

    detail::FormatArgumentKind kind() const { return argumentKind; }
    /// An integer or unit, extended to 64 bits by the sign of its own type, and the size of that type.
    std::uint64_t asInteger() const { return integer; }
    std::size_t sizeOfInteger() const { return integerBytes; }
    double asDouble() const { return real; }
    long double asLongDouble() const { return longReal; }
    const volatile void* asPointer() const { return pointer; }

    /// A text that ends at its first zero unit, and at `bound` units at the latest.
    template <class Unit>
    struct Text {
        const Unit* data;
        std::size_t bound;
    };
    Text<WChar> asWideText() const { return wideText; }
    Text<char> asNarrowText() const { return narrowText; }

private:
    union {
        std::uint64_t integer;
        double real;
        long double longReal;
        const volatile void* pointer;
        Text<WChar> wideText;
        Text<char> narrowText;
    };
    detail::FormatArgumentKind argumentKind;
    std::uint8_t integerBytes = 0;
};

/// A format that was checked against the argument types `A...` at compile time; made from a literal by the call itself.
template <class... A>
class WideFormat {
public:
    consteval WideFormat(const WChar* format)
        : checked(format) {
        detail::checkFormat(format, {detail::formatArgumentKind<A>()...});
    }
    constexpr const WChar* text() const { return checked; }

private:
    const WChar* checked;
};

namespace detail {

/// Appends the formatted text; throws as StringUtils::sprintfStringAppendVA does, also where an argument does not fit.
NORQSTD_EXPORT void formatAppend(WString& target, const WChar* format, std::initializer_list<FormatArgument> arguments);

} // namespace detail
} // namespace norq_std

// Random formats and arguments through the formatter by both its names, and beside the C library's snprintf where the
// two dialects say the same. The C-variadic names get a list that is longer than any format can use up, and whose
// entries serve as integers and as pointers to text, so that no argument is ever read as what it is not.
#include "base/StringUtils.h"
#include "exception/NorqException.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>
#include <string>
#include <vector>

namespace {

using norq_std::FormatArgument;
using norq_std::StringUtils;
using norq_std::WString;

constexpr std::size_t textLimit = 16384;

void require(bool holds) {
    if (!holds)
        std::abort();
}

WString widened(const std::string& text) { return WString(text.begin(), text.end()); }

/// An argument list of one kind of value; gives false where the format is refused.
template <class T>
bool formatVariadic(WString& target, const WString& format, T v) {
    try {
        StringUtils::sprintfStringAppend(target, format.c_str(), v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v,
                                         v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v, v,
                                         v, v);
        return true;
    } catch (const norq_std::NorqIllegalArgumentException&) {
        return false;
    }
}

constexpr std::size_t argumentCount = 48;

/// Arbitrary units as format against arbitrary arguments: a text, or a refusal.
void formatAnything(FuzzedDataProvider& input) {
    const std::string narrow = input.ConsumeRandomLengthString(12);
    const WString wide = widened(input.ConsumeRandomLengthString(12));
    const WString format = widened(input.ConsumeRandomLengthString(64));
    std::vector<FormatArgument> all = {input.ConsumeIntegral<std::int64_t>(),
                                       input.ConsumeIntegral<std::uint8_t>(),
                                       input.ConsumeFloatingPoint<double>(),
                                       static_cast<long double>(input.ConsumeFloatingPoint<double>()),
                                       wide,
                                       wide.c_str(),
                                       narrow,
                                       narrow.c_str(),
                                       static_cast<const WString::value_type*>(nullptr),
                                       static_cast<const void*>(&wide),
                                       u'\0',
                                       'c',
                                       -3};
    // A list of any order and length; an initializer_list cannot be made longer at run time.
    const auto pick = [&]() -> const FormatArgument& {
        return all[input.ConsumeIntegralInRange<std::size_t>(0, all.size() - 1)];
    };
    WString text;
    try {
        norq_std::detail::formatAppend(text, format.c_str(),
                                       {pick(), pick(), pick(), pick(), pick(), pick(), pick(), pick()});
        require(text.size() <= textLimit && text.find(u'\0') == WString::npos);
    } catch (const norq_std::NorqIllegalArgumentException&) {
        require(text.empty());
    }
}

std::string makeSpec(FuzzedDataProvider& input, bool takesZero) {
    std::string spec = "%";
    for (unsigned flags = input.ConsumeIntegralInRange<unsigned>(0, 31), i = 0; i < 5; ++i)
        if ((flags >> i & 1) != 0 && (takesZero || i != 4))
            spec += "-+ #0"[i];
    if (input.ConsumeBool())
        spec += std::to_string(input.ConsumeIntegralInRange<unsigned>(1, 300));
    if (input.ConsumeBool())
        spec += "." + (input.ConsumeBool() ? std::to_string(input.ConsumeIntegralInRange<unsigned>(0, 300)) : "");
    return spec;
}

template <class T>
void compare(const std::string& format, T value) {
    char expected[8192];
    const int length = std::snprintf(expected, sizeof expected, format.c_str(), value);
    require(length >= 0 && length < static_cast<int>(sizeof expected));
    WString text;
    require(formatVariadic(text, widened(format), value));
    require(text == widened(expected));
    text.clear();
    norq_std::detail::formatAppend(text, widened(format).c_str(), {FormatArgument(value)});
    require(text == widened(expected));
}

/// One conversion with every flag and size, beside the C library.
void compareOne(FuzzedDataProvider& input) {
    switch (input.ConsumeIntegralInRange<int>(0, 7)) {
    case 0:
        return compare(makeSpec(input, true) + input.PickValueInArray({"d", "i", "hd", "hhd"}),
                       input.ConsumeIntegral<int>());
    case 1:
        return compare(makeSpec(input, true) + input.PickValueInArray({"u", "o", "x", "X", "hu", "hhx"}),
                       input.ConsumeIntegral<unsigned>());
    case 2:
        return compare(makeSpec(input, true) + input.PickValueInArray({"lld", "jd", "zd", "td"}),
                       input.ConsumeIntegral<long long>());
    case 3:
        return compare(makeSpec(input, true) + input.PickValueInArray({"llu", "jx", "zX", "to"}),
                       input.ConsumeIntegral<unsigned long long>());
    case 4: {
        double value;
        const auto bits = input.ConsumeIntegral<std::uint64_t>();
        std::memcpy(&value, &bits, sizeof value);
        return compare(makeSpec(input, true) + input.PickValueInArray({"f", "F", "e", "E", "g", "G", "a", "A"}), value);
    }
    case 5:
        return compare(makeSpec(input, true) + input.PickValueInArray({"Lf", "Le", "Lg", "La"}),
                       static_cast<long double>(input.ConsumeFloatingPoint<double>()));
    case 6:
        return compare("%" + std::string(input.ConsumeBool() ? "-" : "") +
                           std::to_string(input.ConsumeIntegralInRange(1, 300)) + "p",
                       reinterpret_cast<const void*>(input.ConsumeIntegral<std::uintptr_t>()));
    default: {
        std::string text = input.ConsumeRandomLengthString(20);
        for (char& c : text)
            c = static_cast<char>(c & 0x7F);
        // The two dialects have no narrow text under one name; the precision counts bytes in both.
        const std::string spec = makeSpec(input, false);
        char expected[8192];
        std::snprintf(expected, sizeof expected, (spec + "s").c_str(), text.c_str());
        WString result;
        require(formatVariadic(result, widened(spec) + u"hs", text.c_str()));
        require(result == widened(expected));
        result.clear();
        require(formatVariadic(result, widened(spec) + u"ls", widened(text).c_str()));
        require(result == widened(expected));
    }
    }
}

/// Formats of any shape that take integers or pointers alone, so that one list of 64-bit values serves.
void formatVariadicAnything(FuzzedDataProvider& input) {
    static const char16_t* const pieces[] = {u"%", u"d",    u"s",  u"hs",  u"p",    u"c",          u"x",  u"*",
                                             u".", u"-",    u"0",  u"123", u"ll",   u"l",          u"hh", u"I64",
                                             u"n", u"text", u"%%", u"#",   u" %ls", u"99999999999"};
    static const char text[] = "narrow\0\0\0"; // also reads as wide text: it ends in enough zero bytes
    WString format;
    std::size_t conversions = 0;
    while (input.remaining_bytes() > 0 && conversions < argumentCount / 3) {
        const WString piece = input.PickValueInArray(pieces);
        conversions += piece.find(u'%') != WString::npos ? 1 : 0;
        format += piece;
    }
    alignas(16) static char storage[sizeof text + 1];
    std::memcpy(storage, text, sizeof text);
    WString result;
    formatVariadic(result, format, static_cast<const char*>(storage));
    require(result.size() <= textLimit);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    switch (input.ConsumeIntegralInRange<int>(0, 2)) {
    case 0:
        formatAnything(input);
        break;
    case 1:
        compareOne(input);
        break;
    default:
        formatVariadicAnything(input);
    }
    return 0;
}

#include "base/StringUtils.h"
#include "exception/NorqException.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>

namespace norq_std {
namespace {

template <class... A>
WString variadic(const WChar* format, A... arguments) {
    WString text;
    StringUtils::sprintfStringAppend(text, format, arguments...);
    return text;
}

WString appendList(WString& target, const WChar* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    StringUtils::sprintfStringAppendVA(target, arguments, format);
    va_end(arguments);
    return target;
}

// Conversions of numbers are compared with the C library by the fuzzer, flag by flag; here stands what it cannot know.
TEST(WideFormat, ReadsIntegersByTheirLength) {
    EXPECT_EQ(variadic(u"%d|%i|%u|%x|%X|%o", -1, 2, 3U, 255U, 255U, 8U), u"-1|2|3|ff|FF|10");
    EXPECT_EQ(variadic(u"%hhd|%hd|%hhu|%hu", 0x1FF, 0x1FFFF, 0x1FF, 0x1FFFF), u"-1|-1|255|65535");
    EXPECT_EQ(
        variadic(u"%lld|%jd|%zu|%td|%I64d|%Iu", -1LL, INTMAX_MIN, SIZE_MAX, PTRDIFF_MIN, INT64_MAX, SIZE_MAX),
        u"-1|-9223372036854775808|18446744073709551615|-9223372036854775808|9223372036854775807|18446744073709551615");
    // Here a long has 32 bits, whatever stands above them.
    EXPECT_EQ(variadic(u"%ld|%lu|%I32d|%lx", std::int32_t{-7}, UINT32_MAX, std::int32_t{-8}, 0x1FFFFFFFFL),
              u"-7|4294967295|-8|ffffffff");
}

TEST(WideFormat, PlacesEveryKindInItsField) {
    EXPECT_EQ(variadic(u"[%6d|%-6d|%06d|%+d|% d|%.3d|%6.3d|%#x|%#o|%.0d]", -42, -42, -42, 42, 42, 7, 7, 255, 8, 0),
              u"[   -42|-42   |-00042|+42| 42|007|   007|0xff|010|]");
    EXPECT_EQ(variadic(u"[%*d|%-*d|%*d|%.*d|%.*d]", 4, 1, 4, 2, -4, 3, 3, 4, -3, 5), u"[   1|2   |3   |004|5]");
    EXPECT_EQ(variadic(u"[%5ls|%-5hs|%3c|%-3C|%.2s|%5.1S]", u"ab", "cd", u'e', 'f', u"ghi", "jk"),
              u"[   ab|cd   |  e|f  |gh|    j]");
    EXPECT_EQ(variadic(u"[%010.2f|%-10.2f|%+.1e|%010f|%a|%Lg]", -2.5, 2.5, 12.5, INFINITY, 1.0, 0.25L),
              u"[-000002.50|2.50      |+1.2e+01|       inf|0x1p+0|0.25]");
    EXPECT_EQ(variadic(u"[%12p|%-8p|%p]", reinterpret_cast<void*>(0xABCD), static_cast<void*>(nullptr),
                       reinterpret_cast<void*>(1)),
              u"[      0xabcd|(nil)   |0x1]");
    EXPECT_EQ(variadic(u"100%% %.400f", 1.0), u"100% 1." + WString(400, u'0'));
}

TEST(WideFormat, WidensNarrowTextAndKeepsItsStrayBytes) {
    EXPECT_EQ(variadic(u"%hs|%hhs|%S|%lS", "gr\u00fc\u00df", "\u6771\U0001F600", "x", u"\u00fc"),
              u"gr\u00fc\u00df|\u6771\U0001F600|x|\u00fc");
    // Stray bytes, an overlong form, a surrogate, a value above the last plane, a character without its end.
    EXPECT_EQ(variadic(u"%hs", "\xE9t\xE9|\xC0\x80|\xED\xA0\x80|\xF4\x90\x80\x80|\xE6\x9D"),
              u"\u00e9t\u00e9|\u00c0\u0080|\u00ed\u00a0\u0080|\u00f4\u0090\u0080\u0080|\u00e6\u009d");
    EXPECT_EQ(variadic(u"%C%hc%c", '\xE9', '\xFF', 0x6771), u"\u00e9\u00ff\u6771");
    // A precision counts bytes, and does not leave a piece of a character behind.
    EXPECT_EQ(variadic(u"[%.3hs|%.4hs]", "a\u6771", "a\u6771"), u"[a|a\u6771]");
}

TEST(WideFormat, ReadsNoTextBeyondItsPrecision) {
    const auto wide = std::make_unique<WChar[]>(3);
    const auto narrow = std::make_unique<char[]>(3);
    std::fill_n(wide.get(), 3, u'w');
    std::fill_n(narrow.get(), 3, '\xE6');
    EXPECT_EQ(variadic(u"%.3ls", wide.get()), u"www");
    EXPECT_EQ(variadic(u"%.3hs", narrow.get()), u"\u00e6\u00e6");
    EXPECT_EQ(variadic(u"%.0s%.0hs", static_cast<const WChar*>(nullptr), narrow.get()), u"");
}

TEST(WideFormat, PrintsNullTexts) {
    const WChar* const wide = nullptr;
    const char* const narrow = nullptr;
    EXPECT_EQ(variadic(u"%ls|%8hs|%.3s", wide, narrow, wide), u"(null)|  (null)|(nu");
    EXPECT_EQ(StringUtils::format(u"%ls|%S", wide, narrow), u"(null)|(null)");
    EXPECT_EQ(StringUtils::nullCheckedString(nullptr), u"NULL");
    EXPECT_EQ(StringUtils::nullCheckedString(u"x"), u"x");
}

TEST(WideFormat, RefusesWhatItDoesNotKnowAndLeavesTheTargetAlone) {
    for (const WChar* format : {u"%n", u"%hhn", u"%", u"%-", u"%5.", u"%ll", u"%I6", u"%y", u"%Ld", u"%hf", u"%zs",
                                u"%lp", u"%5%", u"%1$d", u"%'d", u"%.-1d", u"ok %d %"}) {
        WString target = u"before";
        try {
            StringUtils::sprintfStringAppend(target, format, 1);
            ADD_FAILURE() << testing::PrintToString(WString(format)) << " was accepted";
        } catch (const NorqIllegalArgumentException& e) {
            const std::unique_ptr<NorqException> cause(e.getNestedException());
            EXPECT_EQ(e.getMessage().find(u"Unable to format string: " + WString(format)), 0U);
            EXPECT_NE(cause, nullptr);
        }
        EXPECT_EQ(target, u"before");
    }
    WString target;
    try {
        StringUtils::sprintfStringAppend(target, nullptr);
        ADD_FAILURE() << "a null format was accepted";
    } catch (const NorqIllegalArgumentException& e) {
        EXPECT_EQ(e.getMessage(), u"Format string cannot be null!");
    }
}

TEST(WideFormat, DropsWhatPassesTheLimitWhole) {
    const WString longest(16384, u'x');
    EXPECT_EQ(variadic(u"%ls", longest.c_str()), longest);
    EXPECT_EQ(variadic(u"%16384d", 1).size(), 16384U);
    EXPECT_EQ(variadic((longest.substr(2) + u"%d").c_str(), 42), longest.substr(2) + u"42");
    EXPECT_EQ(variadic((longest.substr(2) + u"%d").c_str(), 421), u"");
    EXPECT_EQ(variadic(u"%lsy", longest.c_str()), u"");
    for (const WChar* format :
         {u"%16385d", u"%-2147483647d", u"%.99999999999999999999d", u"%20000.3hs", u"a%5000000000xb"})
        EXPECT_EQ(variadic(format, "text"), u"") << testing::PrintToString(WString(format));
    EXPECT_EQ(variadic(u"%*d%s", INT32_MIN, 1, u"x"), u"");
    EXPECT_EQ(variadic(u"%.20000f|", 1.0), u"");
    EXPECT_EQ(variadic(u"%.99999f|%.99999g", INFINITY, 0.5), u"inf|0.5");
    // What follows the limit is still checked.
    EXPECT_THROW(variadic(u"%20000d %y", 1), NorqIllegalArgumentException);
}

TEST(WideFormat, EndsAtTheFirstZeroUnitAndAppends) {
    WString target = u"\u00e4:";
    appendList(target, u"%d%cgone", 12, 0);
    EXPECT_EQ(target, u"\u00e4:12");
    EXPECT_EQ(appendList(target, u"%ls%ls", target.c_str(), u"!"), u"\u00e4:12\u00e4:12!");
    EXPECT_EQ(StringUtils::format(u"%ls|%hs", WString(u"a\0b", 3), std::string("c\0d", 3)), u"a|c");
}

TEST(WideFormat, TheCheckedFrontEndKnowsTheRealTypes) {
    enum class Level : std::uint64_t { Top = UINT64_MAX };
    enum Plain { Minus = -1 };
    EXPECT_EQ(StringUtils::format(u"%d|%ld|%d|%x|%u", INT64_MIN, std::int64_t{1} << 40, Level::Top, Level::Top,
                                  std::int8_t{-1}),
              u"-9223372036854775808|1099511627776|18446744073709551615|ffffffffffffffff|4294967295");
    EXPECT_EQ(StringUtils::format(u"%hhd|%hu|%d|%d|%x|%d", 511, -1, true, Minus, 'a', u'\uffff'),
              u"-1|65535|1|-1|61|65535");
    EXPECT_EQ(StringUtils::format(u"%-*s|%.*hs|%c%c", std::int64_t{4}, u"ab", 2U, std::string_view("xyz"), 'c', u'd'),
              u"ab  |xy|cd");
    EXPECT_EQ(StringUtils::format(u"%.2f %.1Lf %f", 1.25F, 2.5, 0.5L), u"1.25 2.5 0.500000");
    EXPECT_EQ(StringUtils::format(u"%s%s", std::u16string_view(u"view").substr(1), WString(u"!")), u"iew!");
    // A view that a precision does not cut keeps the bytes at its end.
    EXPECT_EQ(StringUtils::format(u"%hs|%.9hs", std::string_view("\xE6\x9D"), std::string_view("\xE6\x9D")),
              u"\u00e6\u009d|\u00e6\u009d");
}

TEST(WideFormat, TheTypedListRefusesAtRunTimeWhatTheCompilerCouldNotSee) {
    WString target;
    EXPECT_THROW(detail::formatAppend(target, u"%d", {}), NorqIllegalArgumentException);
    EXPECT_THROW(detail::formatAppend(target, u"%ls", {1}), NorqIllegalArgumentException);
    EXPECT_THROW(detail::formatAppend(target, u"%*d", {1.0, 1}), NorqIllegalArgumentException);
    EXPECT_TRUE(target.empty());
}

} // namespace
} // namespace norq_std

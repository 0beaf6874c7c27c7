#include "base/SWString.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace std::string_literals;
using namespace NorqStd;
using norq_std::WString;

TEST(SWStringTest, ConstructsFromNarrowTextOfEachEncoding) {
    EXPECT_EQ(u"\u20AC", SWString("\x80"));
    EXPECT_EQ(u"\u0402", SWString("\x80", CODE_MBCS, 1251));
    EXPECT_EQ(u"\u0402", SWString("\x80", static_cast<CodeType>(2), 1251));
    EXPECT_EQ(u"\u20AC", SWString("\xE2\x82\xAC", CODE_UTF8, 1251));
    EXPECT_EQ(u"A\u20AC", SWString("QYA=", CODE_BASE64));
    EXPECT_EQ(u"AB", SWString("ABC", 2));
    EXPECT_EQ(u"ABC", SWString("ABC", 10)); // not beyond the terminator
    EXPECT_EQ(u"\u20AC", SWString("\xE2\x82\xACx", 3, CODE_UTF8));
    EXPECT_EQ(u"\u0080", SWString('\x80')); // the byte's value, no code page
    EXPECT_EQ(u"", SWString(static_cast<const char*>(nullptr)));
    EXPECT_EQ(u"xxx", SWString(3, u'x'));
    const std::vector<char16_t> units{u'a', u'b'};
    EXPECT_EQ(u"ab", SWString(units.begin(), units.end()));
}

TEST(SWStringTest, OverloadsReturnTheStringItself) {
    SWString s(u"abc");
    SWString& same = s.append(u"d").append(2, u'e').append(WString(u"xfx"), 1, 1).append(u'g').append({u'h'});
    EXPECT_EQ(&s, &same);
    EXPECT_EQ(u"abcdeefgh", s);
    EXPECT_EQ(u"[]abcdeefgh", s.insert(0, u"[]"));
    EXPECT_EQ(u"[]\u20AC"
              u"abcdeefgh",
              s.insert(2, "\x80", 1252));
    EXPECT_EQ(u"[\u0402abcdeefgh", s.replace(1, 2, "\x80", 1251));
    EXPECT_EQ(u"-abcdeefgh", s.replace(s.begin(), s.begin() + 2, 1, u'-'));
    EXPECT_EQ(s.begin() + 1, s.insert(s.begin() + 1, u'+'));
    EXPECT_EQ(u"xyz", s.assign(u"wxyz", 1, 3));
    EXPECT_EQ(u"\u00E4", s = "\xE4");
    EXPECT_EQ(u"q", s = u'q');
    EXPECT_EQ(u"qwe", s + u'w' + u"e");
    EXPECT_EQ(u"qq", s + s);
}

TEST(SWStringTest, AppendsItself) {
    SWString s(u"0123456789");
    s += s;
    s.append(s.c_str());
    s.append(s, 0, 5);
    EXPECT_EQ(u"012345678901234567890123456789012345678901234", s);
}

TEST(SWStringTest, CopiesAndMovesTheWideTextAlone) {
    SWString s(u"\u00E4");
    const char* const view = s.mb_str();
    SWString copy(s);
    EXPECT_STREQ("\xE4", view);
    EXPECT_NE(view, copy.mb_str());
    const SWString moved(std::move(copy));
    EXPECT_EQ(u"\u00E4", moved);
    copy = moved;
    EXPECT_STREQ("\xE4", copy.mb_str());
    s = std::move(copy);
    EXPECT_STREQ("\xE4", view);
}

TEST(SWStringTest, GivesNarrowViews) {
    const SWString s(u"\u20ACz\u4E2D");
    EXPECT_STREQ("\x80z?", s.mb_str());
    EXPECT_TRUE(s == "\x80z?");
    EXPECT_TRUE(s != "\x80z");
    EXPECT_STREQ("\x88z?", s.mb_str(1251));
    EXPECT_STREQ("\xE2\x82\xACz\xE4\xB8\xAD", s.utf8_str());
    EXPECT_STREQ("gHo/", s.base64_str());
}

TEST(SWStringTest, KeepsItsTextWhereNothingCanBeRead) {
    SWString s(u"kept");
    EXPECT_FALSE(s.SetUTF8("\xFF"));
    EXPECT_FALSE(s.SetBase64("!"));
    EXPECT_EQ(u"kept", s);
    EXPECT_TRUE(s.SetUTF8("ab\xFF"));
    EXPECT_EQ(u"ab", s);
    EXPECT_TRUE(s.SetBase64("QUJD", 4));
    EXPECT_EQ(u"ABC", s);
    EXPECT_TRUE(s.SetUTF8(nullptr));
    EXPECT_EQ(u"", s);
}

TEST(SWStringTest, ComparesUpToTheFirstZero) {
    EXPECT_TRUE(SWString(u"ab") < SWString(u"abc"));
    EXPECT_FALSE(SWString(u"abc") < SWString(u"ab"));
    EXPECT_FALSE(SWString(u"ab\0c"s) < SWString(u"ab\0d"s));
    EXPECT_TRUE(SWString(u"\xD800") < SWString(u"\uE000")); // by code unit
}

TEST(SWStringTest, ReadsNumbersAsAStreamDoes) {
    const std::pair<const char16_t*, int> cases[] = {
        {u" \t42x", 42},
        {u"-7", -7},
        {u"+8", 8},
        {u"+-8", 0},
        {u"", 0},
        {u"x1", 0},
        {u"1.9", 1},
        {u"\u00A03\u0661", 3},
        {u"99999999999", 2147483647},
        {u"-99999999999", -2147483647 - 1},
    };
    for (const auto& [text, number] : cases) {
        EXPECT_EQ(number, SWString(text).ToInt()) << testing::PrintToString(WString(text));
        EXPECT_EQ(number, SWString(text).ToLong());
    }
    EXPECT_EQ(u"\u00C4B \t1", SWString(u"\u00E4b \t1 \u3000").ToUpper().TrimString());
}

} // namespace

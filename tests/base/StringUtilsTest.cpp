#include "base/StringUtils.h"

#include "base/ByteSwap.h"
#include "base/MemoryBuffer.h"
#include "base/WideChar.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using norq_std::StringUtils;
using norq_std::WideChar;
using norq_std::WString;

TEST(StringUtilsTest, FindsAndTrimsPrefixes) {
    EXPECT_TRUE(StringUtils::hasPrefix(u"abc", u""));
    EXPECT_TRUE(StringUtils::hasPrefix(u"abc", u"abc"));
    EXPECT_FALSE(StringUtils::hasPrefix(u"ab", u"abc"));
    EXPECT_EQ(u"c", StringUtils::trimPrefix(u"abc", u"ab"));
    EXPECT_EQ(u"", StringUtils::trimPrefix(u"abc", u"x"));
}

TEST(StringUtilsTest, KnowsAsciiDigitsAlone) {
    EXPECT_TRUE(StringUtils::isDigits(u""));
    EXPECT_TRUE(StringUtils::isDigits(u"0123456789"));
    EXPECT_FALSE(StringUtils::isDigits(u"1\u0661"));
    EXPECT_TRUE(StringUtils::isHexadecimal(u"09afAF"));
    EXPECT_FALSE(StringUtils::isHexadecimal(u"0g"));
    EXPECT_FALSE(StringUtils::isHexadecimal(u"\uFF21"));
}

TEST(StringUtilsTest, TrimsInPlaceAndReturnsACopy) {
    WString text = u" \t\u00A0\u3000a b\u2028\r\n ";
    EXPECT_EQ(u" \t\u00A0\u3000a b", StringUtils::trimString(text));
    EXPECT_EQ(u"a b", StringUtils::trim(text));
    EXPECT_EQ(u"a b", text);
    text = u" \n ";
    EXPECT_EQ(u"", StringUtils::trim(text));
}

struct SizeText {
    const char16_t* text;
    std::int32_t fallback;
    std::int32_t result;
};

TEST(StringUtilsTest, ReadsSizes) {
    const SizeText cases[] = {
        {u"10 kb", 0, 10240},
        {u"1GB", 0, 1073741824},
        {u"3GB", 0, 2147483647},
        {u"xKB", 5, 5120},
        {u"KB", 5, 5},
        {u"", 7, 7},
        {u" \t ", 7, 7},
        {u" 1.5 Mb ", 0, 1572864},
        {u"12", 0, 12},
        {u"12abc", 0, 12},
        {u"-1KB", 0, -1024},
        {u"abc", 9, 9},
        {u"1e3", 0, 1000},
        {u"1e", 4, 4},
        {u"1GBxx", 0, 1073741824},
        {u"-4294967297", 0, -1},
        {u"-1e30", 1, 0},
        {u"1e30", 1, 2147483647},
        {u"1e999", 3, 3},
        {u"2KBMB", 0, 2097152},
    };
    for (const SizeText& c : cases)
        EXPECT_EQ(c.result, StringUtils::convertSizeString(c.text, c.fallback))
            << testing::PrintToString(WString(c.text));
}

TEST(StringUtilsTest, SplitsAtEveryDelimiter) {
    EXPECT_EQ(1U, StringUtils::getNumberOfFields(u"", u","));
    EXPECT_EQ(3U, StringUtils::getNumberOfFields(u"a,,b", u","));
    EXPECT_EQ(4U, StringUtils::getNumberOfFields(u"a,b;c,", u",;"));
    EXPECT_EQ(u"", StringUtils::getDelimField(u"a,,b", 1, u",", u"z"));
    EXPECT_EQ(u"b", StringUtils::getDelimField(u"a,,b", 2, u",", u"z"));
    EXPECT_EQ(u"", StringUtils::getDelimField(u"", 0, u",", u"z"));
    EXPECT_EQ(u"z", StringUtils::getDelimField(u"a,b", 2, u",", u"z"));
    EXPECT_EQ(u"z", StringUtils::getDelimField(u"a,b", -1, u",", u"z"));
}

TEST(WideCharTest, ClassesAndCaseGoBeyondAscii) {
    EXPECT_EQ(u'\u00C4', WideChar::toUpper(u'\u00E4'));
    EXPECT_EQ(u'\u044F', WideChar::toLower(u'\u042F'));
    EXPECT_EQ(u'\u00DF', WideChar::toUpper(u'\u00DF')); // no single unit
    EXPECT_EQ(u'\xD83D', WideChar::toLower(u'\xD83D'));
    EXPECT_TRUE(WideChar::isAlpha(u'\u4E2D'));
    EXPECT_FALSE(WideChar::isAlpha(u'\xD83D'));
    EXPECT_TRUE(WideChar::isDigit(u'\u0661'));
    EXPECT_FALSE(WideChar::isAlpha(u'@') || WideChar::isAlpha(u'[') || WideChar::isDigit(u':'));
}

TEST(ByteSwapTest, ReversesBytes) {
    EXPECT_EQ(0x0201, norq_std::byteSwap16(0x0102));
    EXPECT_EQ(0x04030201U, norq_std::byteSwap32(0x01020304U));
    EXPECT_EQ(0x0807060504030201U, norq_std::byteSwap64(0x0102030405060708U));
}

TEST(MemoryBufferTest, KeepsItsArrayOnlyForTheSameSize) {
    NorqStd::MemoryBuffer<char16_t> buffer(4);
    char16_t* const units = buffer;
    units[3] = u'x';
    buffer.resize(4);
    EXPECT_EQ(units, static_cast<char16_t*>(buffer));
    EXPECT_EQ(u'x', units[3]);
    buffer.resize(0);
    EXPECT_EQ(0U, buffer.size());
    EXPECT_EQ(nullptr, static_cast<char16_t*>(buffer));
}

} // namespace

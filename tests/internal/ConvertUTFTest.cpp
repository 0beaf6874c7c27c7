#include "internal/ConvertUTF.h"

#include "base/Utf8Utils.h"
#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "internal/CharacterSink.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace std::string_literals;
using norq_std::Utf8Utils;
using norq_std::UtfUtils;
using norq_std::WString;
using norq_std_internal::CharacterSink;
using norq_std_internal::ConvertUTF;

constexpr const char16_t* EXHAUSTED = u"Source string is exhausted.";
constexpr const char16_t* ILLEGAL = u"Source string is illegal.";
constexpr const char16_t* TOO_LONG = u"Converted string is too long.";

const unsigned char* bytesOf(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.c_str()); }

/// The message that a conversion raises; empty if none.
template <class Conversion>
WString faultOf(Conversion conversion) {
    try {
        conversion();
        return {};
    } catch (const norq_std::NorqIllegalArgumentException& e) {
        return e.getMessage();
    }
}

class ConvertUTFTest : public testing::Test {
protected:
    ~ConvertUTFTest() override { ConvertUTF::setMaxStringSize(ConvertUTF::DEFAULT_MAX_STRING_SIZE); }
};

struct FromUtf8 {
    std::string source;
    WString result;
    WString fault;
};

TEST_F(ConvertUTFTest, KeepsWhatStoodBeforeAFaultOfUtf8AndNamesTheFault) {
    const FromUtf8 cases[] = {
        {"", u"", u""},
        {"a\xC3\xA4\xE2\x82\xAC\xF0\x90\x80\x80", u"a\u00E4\u20AC\xD800\xDC00", u""},
        {"abc\xFF", u"abc", ILLEGAL}, // whatever should follow
        {"abc\xFFxxxxx", u"abc", ILLEGAL},
        {"abc\x80", u"abc", ILLEGAL},
        {"ab\xE2\x82", u"ab", EXHAUSTED},
        {"ab\xF8\x88\x80\x80\x80z", u"ab", ILLEGAL},
        {"\xC0\x80", u"", ILLEGAL},
        {"\xE0\x9F\xBF", u"", ILLEGAL},
        {"\xED\xA0\x80", u"", ILLEGAL},
        {"\xED\x9F\xBF\xEE\x80\x80", u"\uD7FF\uE000", u""},
        {"\xF0\x8F\xBF\xBF", u"", ILLEGAL},
        {"\xF4\x8F\xBF\xBF", u"\xDBFF\xDFFF", u""},
        {"\xF4\x90\x80\x80", u"", ILLEGAL},
        {"\xE2\x28\xA1", u"", ILLEGAL},
    };
    // Once alone and once behind enough text for the fast road, in all of its alignments.
    for (std::size_t padding = 0; padding < 80; ++padding) {
        const std::string front(padding, 'x');
        const WString wideFront(padding, u'x');
        for (const FromUtf8& c : cases) {
            const std::string source = front + c.source;
            EXPECT_EQ(wideFront + c.result, UtfUtils::utf8ToUtf16(source)) << padding << c.source;
            EXPECT_EQ(c.fault, faultOf([&] { ConvertUTF::utf8ToUtf16(bytesOf(source), false, ConvertUTF::EXCEPT); }));
            EXPECT_EQ(c.fault, faultOf([&] { ConvertUTF::utf8ToUtf32(bytesOf(source), true, ConvertUTF::EXCEPT); }));
        }
    }
}

TEST_F(ConvertUTFTest, PassesLoneSurrogatesUnlessStrict) {
    for (std::size_t padding = 0; padding < 40; ++padding) {
        const WString source = WString(padding, u'\u00E4') + u"\xD800z"s + WString(padding, u'\u20AC');
        const std::string expected = UtfUtils::utf16ToUtf8(WString(padding, u'\u00E4')) + "\xED\xA0\x80z" +
                                     UtfUtils::utf16ToUtf8(WString(padding, u'\u20AC'));
        EXPECT_EQ(expected, UtfUtils::utf16ToUtf8(source));
        EXPECT_EQ(ILLEGAL, faultOf([&] { ConvertUTF::utf16ToUtf8(source.c_str(), true, ConvertUTF::EXCEPT); }));
        // At the end nothing can follow: exhausted and dropped, strict or not.
        const WString cut = WString(padding, u'\u20AC') + u"\xDBFF"s;
        EXPECT_EQ(UtfUtils::utf16ToUtf8(WString(padding, u'\u20AC')), UtfUtils::utf16ToUtf8(cut));
        EXPECT_EQ(EXHAUSTED, faultOf([&] { ConvertUTF::utf16ToUtf8(cut.c_str(), false, ConvertUTF::EXCEPT); }));
    }
    EXPECT_EQ(U"\xDC00\x10FFFF"s, UtfUtils::utf16ToUtf32(u"\xDC00\xDBFF\xDFFF"));
    EXPECT_EQ(ILLEGAL, faultOf([] { ConvertUTF::utf16ToUtf32(u"\xDC00", true, ConvertUTF::EXCEPT); }));
}

TEST_F(ConvertUTFTest, ReplacesUtf32ThatCannotBeWritten) {
    const char32_t source[] = {0xD800, 0x110000, 0x1F600, U'a', 0};
    EXPECT_EQ("\xED\xA0\x80\xEF\xBF\xBD\xF0\x9F\x98\x80"
              "a",
              UtfUtils::utf32ToUtf8(source));
    EXPECT_EQ(u"\uFFFD\uFFFD\xD83D\xDE00"
              u"a",
              UtfUtils::utf32ToUtf16(source));
    EXPECT_EQ(ILLEGAL, faultOf([&] { ConvertUTF::utf32ToUtf8(source, true, ConvertUTF::EXCEPT); }));
    EXPECT_EQ(ILLEGAL, faultOf([&] { ConvertUTF::utf32ToUtf16(source + 1, true, ConvertUTF::EXCEPT); }));
}

TEST_F(ConvertUTFTest, GivesTheLastSlotOfTheLimitToTheTerminator) {
    for (const std::uint32_t limit : {1U, 2U, 7U, 40U, 255U, 256U, 300U, 5000U}) {
        ConvertUTF::setMaxStringSize(limit);
        const std::string exact(limit, 'a');
        EXPECT_EQ(WString(limit - 1, u'a'), ConvertUTF::utf8ToUtf16(bytesOf(exact), false, ConvertUTF::EXCEPT))
            << limit;
        EXPECT_EQ(std::string(limit - 1, 'a'), UtfUtils::utf16ToUtf8(WString(limit, u'a'))) << limit;
        EXPECT_EQ(TOO_LONG, faultOf([&] { ConvertUTF::utf8ToUtf16(bytesOf(exact + 'a'), false, ConvertUTF::EXCEPT); }));
        EXPECT_EQ(WString(limit - 1, u'a'), UtfUtils::utf8ToUtf16(exact + "aa")) << limit;
    }
    ConvertUTF::setMaxStringSize(4);
    EXPECT_EQ(u"ab\xD83D"s, UtfUtils::utf8ToUtf16("ab\xF0\x9F\x98\x80")); // half of the pair remains
    EXPECT_EQ(u"abc"s, UtfUtils::utf8ToUtf16("abc\xF0\x9F\x98\x80"));
    EXPECT_EQ("ab", UtfUtils::utf16ToUtf8(u"ab\u20AC")); // no byte of what does not fit
}

TEST_F(ConvertUTFTest, EndsEveryResultBelowTheDefaultLimit) {
    EXPECT_EQ(32767U, UtfUtils::utf8ToUtf16(std::string(100000, 'a')).size());
    EXPECT_EQ(32766U, UtfUtils::utf16ToUtf8(WString(40000, u'\u20AC')).size());
}

TEST_F(ConvertUTFTest, RefusesEverythingWithoutASlotForTheTerminator) {
    ConvertUTF::setMaxStringSize(0);
    EXPECT_EQ(0U, ConvertUTF::getMaxStringSize());
    EXPECT_THROW(UtfUtils::utf8ToUtf16(""), norq_std::NorqBufferOverflowException);
    EXPECT_THROW(UtfUtils::utf16ToUtf32(u"a"), norq_std::NorqBufferOverflowException);
    EXPECT_THROW(ConvertUTF::utf32ToUtf8(U"a", true, ConvertUTF::EXCEPT), norq_std::NorqBufferOverflowException);
}

TEST(CharacterSinkTest, GrowsUpToItsLimitAndNoFurther) {
    CharacterSink<char16_t> sink(4, 11);
    for (std::uint32_t i = 0; i < 11; ++i)
        sink[i] = static_cast<char16_t>(i);
    EXPECT_EQ(11U, sink.getCapacity());
    EXPECT_EQ(10, sink[10]);
    EXPECT_EQ(3, sink[3]);
    EXPECT_THROW(sink[11], norq_std::NorqBufferOverflowException);
    CharacterSink<unsigned char> none(256, 0);
    EXPECT_THROW(none[0], norq_std::NorqBufferOverflowException);
}

TEST(Utf8UtilsTest, HasAnIdeaOfUtf8OfItsOwn) {
    for (const char* good : {"", "abc", "\xC3\xA4\xE2\x82\xAC", "\xC0\x80", "\xED\xA0\x80"})
        EXPECT_TRUE(Utf8Utils::isUtf8String(good)) << good;
    for (const char* bad : {"\xF0\x90\x80\x80", "\x80", "\xC3", "\xE2\x82", "\xE2\x82z", "\xFE", "\xFF"})
        EXPECT_FALSE(UtfUtils::isUtf8String(bad)) << bad;
    EXPECT_TRUE(UtfUtils::isUtf8String("a\0\xFF"s));
}

TEST(Utf8UtilsTest, CountsUnitsWithTheTerminator) {
    EXPECT_EQ(1U, Utf8Utils::getUnicodeStringLength(""));
    EXPECT_EQ(4U, Utf8Utils::getUnicodeStringLength("a\xE2\x82\xAC\xF0\x9F\x98\x80"));
    EXPECT_EQ(3U, Utf8Utils::getUnicodeStringLength("\x80\x80\x80\x80\x80\x80\x80")); // six at most go together
    EXPECT_EQ(1U, Utf8Utils::getUtf8StringLength(u""));
    EXPECT_EQ(1U + 1 + 2 + 3 + 6, Utf8Utils::getUtf8StringLength(u"a\u00E4\u20AC\xD83D\xDE00"));
}

} // namespace

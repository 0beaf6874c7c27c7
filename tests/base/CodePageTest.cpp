#include "platform/CodePage.h"
#include "base/EncodingUtils.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <set>
#include <string>

namespace {

using namespace std::string_literals;
using norq_std::EncodingUtils;
using norq_std::WString;
using norq_std_internal::platform::decodeCodePage;
using norq_std_internal::platform::encodeCodePage;

WString decoded(std::uint32_t codePage, std::string_view bytes) {
    WString text;
    EXPECT_TRUE(decodeCodePage(codePage, bytes, text));
    return text;
}

std::string encoded(std::uint32_t codePage, std::u16string_view text) {
    std::string bytes;
    EXPECT_TRUE(encodeCodePage(codePage, text, bytes));
    return bytes;
}

/// The C library's opinion of some bytes; empty where it has none.
class CLibrary {
public:
    explicit CLibrary(const char* name)
        : descriptor(iconv_open("UTF-16LE", name)) {}
    ~CLibrary() { iconv_close(descriptor); }

    WString decode(std::string bytes) const {
        char16_t units[8];
        char* in = bytes.data();
        std::size_t inLeft = bytes.size();
        char* out = reinterpret_cast<char*>(units);
        std::size_t outLeft = sizeof units;
        iconv(descriptor, nullptr, nullptr, nullptr, nullptr);
        if (iconv(descriptor, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1))
            return {};
        return WString(units, (sizeof units - outLeft) / 2);
    }

private:
    iconv_t descriptor;
};

struct Page {
    std::uint32_t number;
    const char* name;
    bool pairs;
};

std::string shown(const Page& page, const std::string& bytes) {
    std::string text = std::to_string(page.number);
    for (const char byte : bytes)
        text += ' ' + std::to_string(static_cast<unsigned char>(byte));
    return text;
}

/// All characters of one and two bytes: what the C library knows must read the same, and what we read must be written
/// as the same bytes again, but for the known doubles of a page, which still must mean the same.
TEST(CodePageTest, ReadsAsTheCLibraryDoesAndWritesWhatItReads) {
    const Page pages[] = {
        {1250, "CP1250", false}, {1251, "CP1251", false}, {1252, "CP1252", false},
        {1254, "CP1254", false}, {1256, "CP1256", false}, {932, "CP932", true},
        {936, "CP936", true},    {949, "CP949", true},    {950, "CP950", true},
    };
    for (const Page& page : pages) {
        const CLibrary library(page.name);
        for (unsigned bytes = 1; bytes < (page.pairs ? 0x10000U : 0x100U); ++bytes) {
            const std::string text = bytes < 0x100
                                         ? std::string(1, static_cast<char>(bytes))
                                         : std::string{static_cast<char>(bytes >> 8), static_cast<char>(bytes & 0xFF)};
            const WString ours = decoded(page.number, text);
            if (ours.size() == 1 && ours != u"?") {
                EXPECT_EQ(ours, decoded(page.number, encoded(page.number, ours))) << shown(page, text);
            }
            const WString theirs = library.decode(text);
            if (theirs.size() == 1) {
                EXPECT_EQ(theirs, ours) << shown(page, text);
            }
        }
    }
}

TEST(CodePageTest, MapsUndefinedBytesToControlsBothWays) {
    for (const char16_t control : {u'\x81', u'\x8D', u'\x8F', u'\x90', u'\x9D'}) {
        const std::string byte(1, static_cast<char>(control));
        EXPECT_EQ(WString(1, control), EncodingUtils::convertMbcsToUnicode(byte, 0));
        EXPECT_EQ(byte, EncodingUtils::convertUnicodeToMbcs(WString(1, control), 1252));
    }
}

struct Encoding {
    std::uint32_t codePage;
    WString text;
    std::string bytes;
};

TEST(CodePageTest, TakesTheBestFitAndElseAQuestionMark) {
    const Encoding cases[] = {
        {0, u"\u20AC\u2013\u0178", "\x80\x96\x9F"},
        {0, u"\u0100\uFF5E\u2032\u041F\u4E2D", "A~'??"},
        {1252, u"x\xD83D\xDE00y\xD800", "x??y?"}, // two for a pair
        {1250, u"\u00A1\u0141\uFF21",
         "!\xA3"
         "A"},
        {1251, u"\u00C0\u041F\u20AC", "A\xCF\x88"},
        {1254, u"\u00DD\u0130", "Y\xDD"},
        {1256, u"\u00C0\u0627\u200C", "A\xC7\x9D"},
        {932, u"\u00A5\u3042\u00A9",
         "\\\x82\xA0"
         "c"},
        {932, u"\u001A\u001C\u007F\u0080\uF8F0\uF8F1\uF8F2\uF8F3", "\x1A\x1C\x7F\x80\xA0\xFD\xFE\xFF"},
        {936, u"\u4E2D\u20AC\u00E8", "\xD6\xD0\x80\xA8\xA8"},
        {949, u"\uD55C\u00A9", "\xC7\xD1\xA8\xCF"},
        {950, u"\u4E2D\u20AC", "\xA4\xA4\xA3\xE1"},
        {65001, u"\u20AC\xD800!", "\xE2\x82\xAC\xEF\xBF\xBD!"},
    };
    for (const Encoding& c : cases)
        EXPECT_EQ(c.bytes, EncodingUtils::convertUnicodeToMbcs(c.text, c.codePage)) << c.codePage;
}

TEST(CodePageTest, ReadsOnWhereBytesStandForNothing) {
    EXPECT_EQ(u"?\"x"s, decoded(932, "\x82\"x")); // the quote cannot follow and is not swallowed
    EXPECT_EQ(u"a?"s, decoded(936, "a\x81"));     // cut off
    EXPECT_EQ(u"\uFFFDz"s, decoded(65001, "\xE2\x82z"));
    EXPECT_EQ(u"\u0000"s + u"a", decoded(932, "\0a"s));
}

TEST(CodePageTest, ConvertsLongTextWholeAndAppends) {
    for (std::size_t length : {1000U, 1023U, 1024U, 1025U, 5000U, 100000U}) {
        const WString text = WString(length, u'a') + WString(length, u'\u3042') + u'z';
        std::string bytes = "#";
        EXPECT_TRUE(encodeCodePage(932, text, bytes));
        ASSERT_EQ(2 + 3 * length, bytes.size());
        WString back = u"#";
        EXPECT_TRUE(decodeCodePage(932, bytes, back));
        EXPECT_EQ(u"##" + text, back);
    }
}

TEST(CodePageTest, GivesNothingForAnUnknownPage) {
    WString text = u"kept";
    EXPECT_FALSE(decodeCodePage(437, "abc", text));
    EXPECT_EQ(u"kept", text);
    EXPECT_EQ(u"", EncodingUtils::convertMbcsToUnicode("abc", 437));
    EXPECT_EQ("", EncodingUtils::convertUnicodeToMbcs(u"abc", 1253));
}

} // namespace

#include "base/EncodingUtils.h"

#include "base/Base64Utils.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

using namespace std::string_literals;
using norq_std::Base64Utils;
using norq_std::EncodingUtils;

TEST(Base64UtilsTest, MeetsThePublishedVectorsBothWays) {
    const char* const vectors[][2] = {{"", ""},
                                      {"f", "Zg=="},
                                      {"fo", "Zm8="},
                                      {"foo", "Zm9v"},
                                      {"foob", "Zm9vYg=="},
                                      {"fooba", "Zm9vYmE="},
                                      {"foobar", "Zm9vYmFy"}};
    for (const auto& [plain, base64] : vectors) {
        EXPECT_EQ(base64, Base64Utils::mbcsToBase64(plain));
        EXPECT_EQ(plain, Base64Utils::base64ToMbcs(base64));
    }
    EXPECT_EQ("//79/A==", EncodingUtils::convertMbcsToBase64("\xFF\xFE\xFD\xFC"));
    EXPECT_EQ("\xFF\xFE\xFD\xFC", EncodingUtils::convertBase64ToMbcs("//79/A=="));
}

TEST(Base64UtilsTest, EncodesZeroBytesAndDecodesUpToTheFirst) {
    EXPECT_EQ("YQBi", Base64Utils::mbcsToBase64("a\0b"s));
    EXPECT_EQ("a", Base64Utils::base64ToMbcs("YQBi"));
}

TEST(Base64UtilsTest, RefusesEveryKindOfDamage) {
    for (const char* good : {"", " \t\r\n\v\f", "QQ==", " Q Q = = ", "QUI=", "QUJD", "QR=="})
        EXPECT_TRUE(Base64Utils::isBase64String(good)) << good;
    for (const char* bad :
         {"Q", "QQ", "QUI", "QQ=", "QQ=x", "=", "Q===", "QQ== x", "QUI=x", "QUI==", "QUJD=", "Q-==", "\xC3\xA4"}) {
        EXPECT_FALSE(Base64Utils::isBase64String(bad)) << bad;
        EXPECT_EQ("", Base64Utils::base64ToMbcs(bad)) << bad;
    }
    EXPECT_EQ("", Base64Utils::base64ToMbcs("QR==")); // the unused bits are asked for only when decoding
    EXPECT_EQ("", Base64Utils::base64ToMbcs("QUJ="));
}

TEST(Base64UtilsTest, SizesItsBuffers) {
    EXPECT_EQ(1U, Base64Utils::getMbcsStringLength("abc"));
    EXPECT_EQ(4U, Base64Utils::getMbcsStringLength("abcdefg"));
    EXPECT_EQ(5U, Base64Utils::getBase64StringLength("ab"));
    EXPECT_EQ(9U, Base64Utils::getBase64StringLength("abcd"));
}

TEST(EncodingUtilsTest, NamesAreComparedExactly) {
    EXPECT_EQ(1250U, EncodingUtils::languageToCodePage(u"Polish"));
    EXPECT_EQ(932U, EncodingUtils::languageToCodePage(u"Japanese"));
    EXPECT_EQ(950U, EncodingUtils::languageToCodePage(u"Traditional Chinese"));
    EXPECT_EQ(0U, EncodingUtils::languageToCodePage(u"english"));
    EXPECT_TRUE(EncodingUtils::isValidCharacterSet(u"ISO-10646-UCS-2"));
    EXPECT_TRUE(EncodingUtils::isValidCharacterSet(u"windows-1252"));
    for (const char16_t* other : {u"", u"utf-8", u"UTF-8 ", u"UTF-16"})
        EXPECT_FALSE(EncodingUtils::isValidCharacterSet(other));
    EXPECT_EQ(u"18446744073709551615", EncodingUtils::toStringFromLongLong(UINT64_MAX));
}

} // namespace

// Bytes as text: Base64 against OpenSSL, hexadecimal and delimited text against their definition.

#include "internal/ByteText.h"
#include "base/Base64Utils.h"
#include "base/EncodingUtils.h"
#include "stream/ByteArray.h"
#include "stream/ByteBuffer.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;
using norq_std::Base64Utils;
using norq_std::ByteArray;
using norq_std::ByteBuffer;
using norq_std::EncodingUtils;
using norq_std::WString;
namespace internal = norq_std_internal;

std::string randomBytes(std::size_t length) {
    static std::mt19937 random(7);
    std::string bytes(length, '\0');
    std::ranges::generate(bytes, [] { return static_cast<char>(random()); });
    return bytes;
}

const unsigned char* unsignedBytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string opensslEncoded(const std::string& bytes) {
    std::string text(bytes.size() / 3 * 4 + 5, '\0');
    const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), unsignedBytes(bytes),
                                       static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

/// Lengths around every block size of the encoders, and long ones.
std::vector<std::size_t> lengths() {
    std::vector<std::size_t> all(200);
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i] = i;
    all.insert(all.end(), {1000, 4097, 65536, 1000001});
    return all;
}

TEST(Base64RandomTest, AgreesWithOpenSslBothWays) {
    for (const std::size_t length : lengths()) {
        const std::string bytes = randomBytes(length);
        const std::string text = opensslEncoded(bytes);
        ASSERT_EQ(text, Base64Utils::byteArrayToBase64(ByteArray(bytes))) << length;
        ASSERT_EQ(text, Base64Utils::mbcsToBase64(bytes)) << length;
        ASSERT_TRUE(Base64Utils::isBase64String(text)) << length;
        const auto decoded = Base64Utils::base64ToByteArray(text);
        ASSERT_NE(nullptr, decoded) << length;
        ASSERT_EQ(bytes, decoded->toString()) << length;
    }
}

TEST(Base64RandomTest, SkipsWhiteSpaceAnywhereAndFindsEveryForeignCharacter) {
    std::mt19937 random(3);
    for (std::size_t length = 0; length < 150; ++length) {
        const std::string bytes = randomBytes(length);
        std::string text = opensslEncoded(bytes);
        for (std::size_t i = 0; i < 1 + length / 20; ++i)
            text.insert(random() % (text.size() + 1), 1, " \t\n\v\f\r"[random() % 6]);
        const auto decoded = Base64Utils::base64ToByteArray(text);
        ASSERT_TRUE(decoded && bytes == decoded->toString()) << text;
    }
    const std::string good = opensslEncoded(randomBytes(96)); // without padding
    for (int value = 1; value < 256; ++value) {
        const char c = static_cast<char>(value);
        if (good.find(c) != good.npos || std::isalnum(value) || std::isspace(value) || c == '+' || c == '/' || c == '=')
            continue;
        for (const std::size_t at : {0U, 31U, 45U, 127U}) {
            std::string bad = good;
            bad[at] = c;
            EXPECT_EQ(nullptr, Base64Utils::base64ToByteArray(bad)) << value;
            EXPECT_FALSE(Base64Utils::isBase64String(bad)) << value;
        }
    }
    EXPECT_EQ(96, Base64Utils::base64ToByteArray(good + '\0' + "?")->getLength()); // the text ends at its first zero
}

TEST(Base64UtilsTest, TellsWhatIsWrong) {
    const struct {
        const char* text;
        const char16_t* message;
    } cases[] = {{"QQ*=", u"<*> is not a Base64 character."},
                 {"QUJDQ", u"Partial bytes after string."},
                 {"QQ=", u"Missing trailing padding."},
                 {"QQ== x", u"Extra characters after padding."},
                 {"QR==", u"Invalid characters after padding."}};
    for (const auto& [text, message] : cases) {
        norqstd_test::DebugCapture log;
        EXPECT_EQ(nullptr, Base64Utils::base64ToByteArray(text));
        EXPECT_EQ(1U, log.count(message)) << text;
        EXPECT_EQ(1U, log.count(u"Converted string length value -1 is below minimum of 0.")) << text;
    }
    EXPECT_EQ("a\0b"s, Base64Utils::base64ToByteArray("YQBi")->toString());
    EXPECT_EQ(0, Base64Utils::base64ToByteArray("")->getLength());
    EXPECT_EQ(9U, Base64Utils::getBase64StringLength(ByteArray(5)));
    EXPECT_EQ("", Base64Utils::byteArrayToBase64(ByteArray()));
}

/// What the processor's blocks do, the tables do.
TEST(ByteTextTest, BlocksAndTablesAgree) {
    for (const std::size_t length : lengths()) {
        const std::string bytes = randomBytes(length);
        std::string base64[2];
        std::u16string hexadecimal[2];
        for (std::string& text : base64)
            text.resize(length / 3 * 4);
        for (std::u16string& text : hexadecimal)
            text.resize(length * 2);
        internal::encodeBase64(unsignedBytes(bytes), length / 3, base64[0].data());
        internal::portable::encodeBase64(unsignedBytes(bytes), length / 3, base64[1].data());
        ASSERT_EQ(base64[0], base64[1]);
        internal::encodeHexadecimal(unsignedBytes(bytes), length, hexadecimal[0].data());
        internal::portable::encodeHexadecimal(unsignedBytes(bytes), length, hexadecimal[1].data());
        ASSERT_EQ(hexadecimal[0], hexadecimal[1]);

        if (length > 40)
            base64[0][length / 2] = static_cast<char>(length);
        const char* ends[2];
        std::string decoded[2];
        for (const bool tables : {false, true}) {
            ends[tables] = base64[0].data();
            decoded[tables].resize(length);
            auto* target = reinterpret_cast<unsigned char*>(decoded[tables].data());
            auto* const begin = target;
            (tables ? internal::portable::decodeBase64 : internal::decodeBase64)(
                {ends[tables], base64[0].data() + base64[0].size()}, {target, target + length});
            decoded[tables].resize(static_cast<std::size_t>(target - begin));
        }
        ASSERT_EQ(ends[0], ends[1]) << length;
        ASSERT_EQ(decoded[0], decoded[1]) << length;
        const char* const end = base64[0].data() + base64[0].size();
        ASSERT_EQ(internal::skipBase64(base64[0].data(), end), internal::portable::skipBase64(base64[0].data(), end));
    }
}

unsigned digit(char16_t unit) {
    return unit >= u'0' && unit <= u'9' ? unit - u'0' : unit >= u'A' && unit <= u'F' ? unit - u'A' + 10U : 0U;
}

TEST(HexadecimalTest, TakesAnyTextOfEvenLength) {
    std::mt19937 random(5);
    const WString likely = u"0123456789ABCDEFabcdefgG/:@`\u0130\u0141\uFF10\x8030\xD830\u00FF";
    for (std::size_t length = 0; length < 200; ++length) {
        WString wide(length, u'0');
        std::ranges::generate(wide, [&] { return likely[random() % likely.size()]; });
        std::string narrow(length, '0');
        std::ranges::generate(narrow,
                              [&] { return static_cast<char>(random() % 4 == 0 ? random() : likely[random() % 22]); });
        std::string fromWide(length % 2 == 0 ? length / 2 : 0, '\0');
        std::string fromNarrow = fromWide;
        for (std::size_t i = 0; i < fromWide.size(); ++i) {
            fromWide[i] = static_cast<char>(digit(wide[2 * i]) << 4 | digit(wide[2 * i + 1]));
            fromNarrow[i] = static_cast<char>(digit(static_cast<unsigned char>(narrow[2 * i])) << 4 |
                                              digit(static_cast<unsigned char>(narrow[2 * i + 1])));
        }
        ASSERT_EQ(fromWide, EncodingUtils::hexStringToByteArray(wide)->toString());
        ASSERT_EQ(fromNarrow, EncodingUtils::hexStringToByteArray(narrow)->toString());
        const auto buffer = EncodingUtils::hexStringToByteBuffer(wide);
        ASSERT_EQ(static_cast<std::int32_t>(fromWide.size()), buffer->remaining());
        ASSERT_EQ(fromWide, buffer->getByteArray(buffer->remaining())->toString());
    }
    EXPECT_EQ(u"00FF", EncodingUtils::toHexString(*EncodingUtils::hexStringToByteArray(u"00FF")));
    EXPECT_EQ(u"", EncodingUtils::toHexString(ByteArray()));
}

TEST(EncodedBytesTest, WritesEveryByteAndLeavesTheBufferAsItWas) {
    std::string bytes(256 * 9, '\0');
    WString hexadecimal;
    WString delimited;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(i);
        hexadecimal += u"0123456789ABCDEF"[i / 16 % 16];
        hexadecimal += u"0123456789ABCDEF"[i % 16];
        const std::string number = std::to_string(i % 256);
        delimited += (i == 0 ? u"" : u"-") + WString(number.begin(), number.end());
    }
    const ByteArray array(bytes);
    EXPECT_EQ(hexadecimal, EncodingUtils::toHexString(array));
    EXPECT_EQ(delimited, EncodingUtils::toDelimString(array));
    EXPECT_EQ(hexadecimal, EncodingUtils::encodeString(array, u"hexadecimal"));
    EXPECT_EQ(delimited, EncodingUtils::encodeString(array, u"DelimiteredEncoding"));
    EXPECT_TRUE(array == *EncodingUtils::decodeString(delimited, u"DelimiteredEncoding"));
    EXPECT_TRUE(array == *EncodingUtils::decodeString(hexadecimal, u"delimiteredencoding"));

    const auto buffer = ByteBuffer::allocate(4);
    buffer->putInt(0x0001ABFF);
    buffer->setPosition(1);
    EXPECT_EQ(u"01ABFF", EncodingUtils::toHexString(*buffer));
    EXPECT_EQ(u"1-171-255", EncodingUtils::toDelimString(*buffer));
    EXPECT_EQ(u"ByteBuffer{Buffer{capacity=4,limit=4,pos=1,mark=1},order=0}", buffer->toString());
}

TEST(DelimitedTest, ReadsNumbersAndRefusesEverythingElse) {
    const struct {
        std::string text, bytes;
    } cases[] = {{"", ""},
                 {"1-2", "\1\2"},
                 {"--1", "\1"},
                 {"300", "\x2C"},
                 {"-", ""},
                 {"7-", "\7"},
                 {"4294967297-99999999999999999999999", "\1\xFF"},
                 {"0001", "\1"}};
    for (const auto& [text, bytes] : cases) {
        const WString wide(text.begin(), text.end());
        EXPECT_EQ(bytes, EncodingUtils::delimStringToByteArray(wide)->toString()) << text;
        EXPECT_EQ(bytes, EncodingUtils::delimStringToByteArray(text)->toString()) << text;
        EXPECT_EQ(static_cast<std::int32_t>(bytes.size()), EncodingUtils::delimStringToByteBuffer(text)->remaining());
        EXPECT_EQ(0, EncodingUtils::delimStringToByteBuffer(wide)->getPosition());
    }
    norqstd_test::DebugCapture log;
    for (const char* const bad : {"1-x", "1 2", "x", "+1", "1-2-\xFF"}) {
        const std::string text = bad;
        const WString wide(text.begin(), text.end());
        EXPECT_EQ(0, EncodingUtils::delimStringToByteArray(text)->getLength()) << text;
        EXPECT_EQ(0, EncodingUtils::delimStringToByteArray(wide)->getLength()) << text;
        EXPECT_EQ(nullptr, EncodingUtils::delimStringToByteBuffer(text)) << text;
        EXPECT_EQ(nullptr, EncodingUtils::delimStringToByteBuffer(wide)) << text;
    }
    EXPECT_EQ(4U, log.count(u"<1-x> string is invalid."));
}

} // namespace

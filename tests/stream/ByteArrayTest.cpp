#include "stream/ByteArray.h"

#include "base/StringUtils.h"
#include "exception/NorqException.h"
#include "stream/ByteArrayInputStream.h"
#include "stream/ByteArrayOutputStream.h"
#include "stream/OutputStream.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;
using norq_std::ByteArray;
using norq_std::ByteArrayInputStream;
using norq_std::ByteArrayOutputStream;
using norq_std::NorqIllegalArgumentException;
using norq_std::NorqIOException;
using norq_std::StringUtils;
using norq_std::WString;

template <class Exception, class Action>
WString messageOf(Action action) {
    try {
        action();
        return u"nothing thrown";
    } catch (const Exception& e) {
        return e.getMessage();
    }
}

TEST(ByteArrayTest, CopiesShareNothing) {
    ByteArray original("abc"s);
    ByteArray copy(original);
    ByteArray assigned(7);
    assigned = original;
    original[0] = 'X';
    EXPECT_EQ("abc", copy.toString());
    EXPECT_TRUE(copy == assigned);
    EXPECT_FALSE(copy == original);
    const auto handedOut = copy.getArray();
    ByteArray moved(std::move(copy));
    EXPECT_EQ(handedOut, moved.getArray());
    EXPECT_EQ(0, copy.getLength()); // NOLINT(bugprone-use-after-move): what a move leaves is promised
    copy = std::move(moved);
    copy.clear();
    EXPECT_EQ(0, copy.getLength());
    EXPECT_EQ("", copy.toString());
    EXPECT_EQ('a', handedOut[0]);
    EXPECT_TRUE(copy == ByteArray());
    EXPECT_TRUE(copy == ByteArray(0));
}

TEST(ByteArrayTest, AnIndexOutsideTouchesNothing) {
    ByteArray bytes(reinterpret_cast<const unsigned char*>("ab"), 2);
    norqstd_test::DebugCapture log;
    for (const std::int32_t index : {-1, 2, 1000}) {
        EXPECT_EQ(0, bytes[index]);
        bytes[index] = 'Z';
        EXPECT_EQ(0, bytes[index]);
    }
    EXPECT_LE(1U, log.count(u"Column in array value -1 is below minimum of 0."));
    EXPECT_LE(1U, log.count(u"Column in array value 2 is above maximum of 1."));
    EXPECT_EQ("ab", bytes.toString());
    EXPECT_EQ(0, ByteArray()[0]);
    EXPECT_EQ("\0\0\0"s, ByteArray(3).toString());
    EXPECT_EQ(u"ByteArray length value -1 is below minimum of 0.",
              messageOf<NorqIllegalArgumentException>([] { ByteArray(-1); }));
    EXPECT_EQ(u"ByteArray value value is NULL.",
              messageOf<NorqIllegalArgumentException>([] { ByteArray(nullptr, -1); }));
}

TEST(ByteArrayTest, TextGoesThroughEveryEncoding) {
    const struct {
        const char16_t* encoding;
        std::string bytes;
    } cases[] = {{u"windows-1252", "a\x80\xE4"},
                 {u"UTF-8", "a\xE2\x82\xAC\xC3\xA4"},
                 {u"ISO-10646-UCS-2", "a\0\xAC\x20\xE4\0"s},
                 {u"utf-8", "a\0\xAC\x20\xE4\0"s}};
    for (const auto& [encoding, bytes] : cases) {
        const ByteArray array(WString(u"a\u20AC\u00E4"), encoding);
        EXPECT_EQ(bytes, array.toString());
        EXPECT_EQ(u"a\u20AC\u00E4", array.toWString(encoding));
        EXPECT_EQ(0, ByteArray(WString(), encoding).getLength());
        EXPECT_EQ(u"", ByteArray().toWString(encoding));
    }
    EXPECT_EQ(u"a", ByteArray("a\0b"s).toWString(u"UTF-8"));
    EXPECT_EQ(u"a", ByteArray("a\0b"s).toWString(u"windows-1252"));
    EXPECT_EQ(1U, ByteArray(3).toWString(u"ISO-10646-UCS-2").size());
}

TEST(ByteArrayTest, LinesKeepTheirEmptyOnes) {
    const struct {
        std::string text;
        WString separator;
        std::vector<WString> lines;
    } cases[] = {
        {"", u"", {}},
        {"a", u"", {u"a"}},
        {"a\n\nb", u"\n", {u"a", u"", u"b"}},
        {"a\n", u"\n", {u"a", u""}},
        {"\r\nb\rc\nd", u"\r\n", {u"", u"b", u"c", u"d"}},
        {"a\r\r\nb", u"\r", {u"a", u"", u"b"}},
        {"a\n\r", u"\n", {u"a", u"", u""}},
        {"a\r", u"\r", {u"a", u""}},
    };
    for (const auto& [text, separator, lines] : cases) {
        EXPECT_EQ(separator, StringUtils::getLineSeparator(ByteArray(text), u"windows-1252")) << text;
        EXPECT_EQ(lines, StringUtils::getLines(ByteArray(text), u"windows-1252")) << text;
    }
    EXPECT_EQ((std::vector<WString>{u"\u20AC\u0D0A", u"x"}),
              StringUtils::getLines(ByteArray(WString(u"\u20AC\u0D0A\nx"), u"UCS-2"), u"UCS-2"));
}

std::shared_ptr<unsigned char[]> arrayOf(const std::string& bytes) { return ByteArray(bytes).getArray(); }

TEST(ByteArrayInputStreamTest, ReadsMarksAndResets) {
    ByteArrayInputStream stream(arrayOf("xab\xFF\x80z"), 1, 4);
    EXPECT_EQ(u"Mark has not been set.", messageOf<NorqIOException>([&] { stream.reset(); }));
    EXPECT_TRUE(stream.markSupported());
    EXPECT_EQ('a', stream.read());
    stream.mark(0);
    EXPECT_EQ(3, stream.available());
    std::array<unsigned char, 5> bytes{};
    EXPECT_EQ(0, stream.read(bytes.data(), 5, 0));
    EXPECT_EQ(3, stream.read(bytes.data(), 1, 4));
    EXPECT_EQ((std::array<unsigned char, 5>{0, 'b', 0xFF, 0x80, 0}), bytes);
    EXPECT_EQ(-1, stream.read(bytes.data(), 0, 0));
    EXPECT_EQ(-1, stream.read());
    stream.reset();
    stream.close();
    EXPECT_EQ('b', stream.read());
    EXPECT_EQ(-1, stream.read()); // 0xFF
    EXPECT_EQ(-128, stream.read());
    EXPECT_EQ(0, stream.available());

    EXPECT_EQ(u"buffer value is NULL.",
              messageOf<NorqIllegalArgumentException>([] { ByteArrayInputStream(nullptr, 0, 0); }));
    EXPECT_EQ(u"offset value -1 is below minimum of 0.",
              messageOf<NorqIllegalArgumentException>([&] { stream.read(bytes.data(), -1, -1); }));
    EXPECT_EQ(u"length value -1 is below minimum of 0.",
              messageOf<NorqIllegalArgumentException>([] { ByteArrayInputStream(arrayOf("a"), 0, -1); }));
    EXPECT_THROW(ByteArrayInputStream(arrayOf("a"), 1, 0x7FFFFFFF), NorqIllegalArgumentException);
}

/// The base classes with what they must be given.
class CountingInput : public norq_std::InputStream {
public:
    using InputStream::read;
    std::int32_t read() override { return next < 3 ? next++ : -1; }
    std::int32_t next = 0;
};
class CollectingOutput : public norq_std::OutputStream {
public:
    using OutputStream::write;
    void write(unsigned char byte) override { collected += static_cast<char>(byte); }
    std::string collected;
};

TEST(StreamTest, TheBasesWorkByteByByte) {
    CountingInput in;
    unsigned char bytes[8] = {};
    EXPECT_EQ(0, in.available());
    EXPECT_FALSE(in.markSupported());
    EXPECT_EQ(u"Mark not supported.", messageOf<NorqIOException>([&] { in.reset(); }));
    EXPECT_EQ(2, in.read(bytes, 1, 2));
    EXPECT_EQ(1, in.read(bytes, 3, 5));
    EXPECT_EQ(0, std::memcmp(bytes, "\0\0\1\2\0", 5));
    EXPECT_EQ(-1, in.read(bytes, 0, 5));
    EXPECT_EQ(0, in.read(bytes, 0, 0));
    EXPECT_THROW(in.read(nullptr, 0, 1), NorqIllegalArgumentException);

    CollectingOutput out;
    out.write(reinterpret_cast<const unsigned char*>("abcd"), 1, 2);
    EXPECT_EQ("bc", out.collected);
    EXPECT_THROW(out.write(bytes, 0, -1), NorqIllegalArgumentException);
    EXPECT_EQ("bc", out.collected);
}

TEST(ByteArrayOutputStreamTest, GrowsByDoublingUpToAStep) {
    const std::vector<unsigned char> bytes(2000000, 'x');
    const struct {
        std::int32_t initial, first, then, capacity;
    } cases[] = {{0, 256, 0, 256},
                 {256, 256, 1, 512},
                 {256, 256, 5000, 5256},
                 {256, 100, 157, 512},
                 {2000000, 2000000, 1, 3048576},
                 {2000000, 2000000, 1048577, 3048577}};
    for (const auto& [initial, first, then, capacity] : cases) {
        ByteArrayOutputStream stream(initial);
        stream.write(bytes.data(), 0, first);
        stream.write(bytes.data(), 0, then);
        EXPECT_EQ(first + then, stream.getSize());
        EXPECT_EQ(capacity, stream.getCapacity());
    }
}

TEST(ByteArrayOutputStreamTest, HandsItsBufferOver) {
    ByteArrayOutputStream stream(2);
    for (const char c : "abc"s)
        stream.write(static_cast<unsigned char>(c));
    EXPECT_EQ(0, std::memcmp(stream.getBuffer(), "abc", 3));
    const auto full = stream.reset(0);
    EXPECT_EQ(0, stream.getSize());
    EXPECT_EQ(256, stream.getCapacity());
    stream.write('d');
    EXPECT_EQ(0, std::memcmp(full.get(), "abc", 3));
    EXPECT_EQ(10, (stream.reset(10), stream.getCapacity()));
    EXPECT_EQ(u"buffer value is NULL.", messageOf<NorqIllegalArgumentException>([&] { stream.write(nullptr, 0, 0); }));
}

TEST(ByteArrayOutputStreamTest, FailsWithoutEffectAtTheLargestSize) {
    ByteArrayOutputStream stream(1);
    const unsigned char byte = 'a';
    stream.write(&byte, 0, 1);
    EXPECT_EQ(u"Error allocating buffer space.",
              messageOf<NorqIOException>([&] { stream.write(&byte, 0, 0x7FFFFFFF); }));
    EXPECT_EQ(1, stream.getSize());
    EXPECT_EQ(1, stream.getCapacity());
}

} // namespace

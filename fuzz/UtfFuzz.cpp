// The six conversions, strict and not, raising and silent, under any limit, against a model that takes the rules one
// character at a time. The first two bytes of an input choose the limit; the rest is the text, taken as bytes, as
// UTF-16 and as UTF-32, and once more after its own valid part, so that faults come late as well.

#include "exception/NorqException.h"
#include "internal/ConvertUTF.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace {

using norq_std_internal::ConvertUTF;

constexpr const char16_t* EXHAUSTED = u"Source string is exhausted.";
constexpr const char16_t* ILLEGAL = u"Source string is illegal.";
constexpr const char16_t* TOO_LONG = u"Converted string is too long.";
constexpr const char16_t* NO_SLOT = u"Array index is out of bounds or size limit has been reached.";

/// What a conversion should do: its result if silent, and its message if it raises one.
template <class Text>
struct Outcome {
    Text text;
    const char16_t* fault = nullptr;
};

/// One character read: its value and length, or a fault. `checkRoom` asks for a slot before the character is judged.
struct Read {
    std::uint32_t value = 0;
    std::size_t length = 0;
    const char16_t* fault = nullptr;
};

bool surrogate(std::uint32_t value) { return value >= 0xD800 && value <= 0xDFFF; }

Read readOne(const std::basic_string<unsigned char>& source, std::size_t at, bool) {
    const unsigned lead = source[at];
    const std::size_t trailing = lead < 0xC0   ? 0
                                 : lead < 0xE0 ? 1
                                 : lead < 0xF0 ? 2
                                 : lead < 0xF8 ? 3
                                 : lead < 0xFC ? 4
                                               : 5;
    if (trailing <= 3 && at + trailing >= source.size())
        return {0, 0, EXHAUSTED};
    if (trailing > 3 || (lead >= 0x80 && lead < 0xC2) || lead > 0xF4)
        return {0, 0, ILLEGAL};
    std::uint32_t value = trailing == 0 ? lead : lead & (0x3F >> trailing);
    for (std::size_t i = 1; i <= trailing; ++i) {
        if (source[at + i] < 0x80 || source[at + i] > 0xBF)
            return {0, 0, ILLEGAL};
        value = value * 64 + source[at + i] % 64;
    }
    constexpr std::uint32_t LEAST[] = {0, 0x80, 0x800, 0x10000};
    if (value < LEAST[trailing] || surrogate(value) || value > 0x10FFFF)
        return {0, 0, ILLEGAL};
    return {value, trailing + 1, nullptr};
}

Read readOne(const std::u16string& source, std::size_t at, bool strict) {
    const std::uint32_t unit = source[at];
    if (unit >= 0xD800 && unit <= 0xDBFF) {
        if (at + 1 == source.size())
            return {0, 0, EXHAUSTED};
        const std::uint32_t next = source[at + 1];
        if (next >= 0xDC00 && next <= 0xDFFF)
            return {0x10000 + (unit - 0xD800) * 0x400 + (next - 0xDC00), 2, nullptr};
    }
    if (strict && surrogate(unit))
        return {0, 0, ILLEGAL};
    return {unit, 1, nullptr};
}

Read readOne(const std::u32string& source, std::size_t at, bool strict) {
    const std::uint32_t value = source[at];
    if (strict && (surrogate(value) || value > 0x10FFFF))
        return {0, 0, ILLEGAL};
    return {value, 1, nullptr};
}

std::string written(std::uint32_t value, const std::string&, bool fromUtf32) {
    if (fromUtf32 && value > 0x10FFFF)
        value = 0xFFFD;
    const auto byte = [](std::uint32_t bits) { return static_cast<char>(bits); };
    if (value < 0x80)
        return {byte(value)};
    if (value < 0x800)
        return {byte(0xC0 + value / 64), byte(0x80 + value % 64)};
    if (value < 0x10000)
        return {byte(0xE0 + value / 4096), byte(0x80 + value / 64 % 64), byte(0x80 + value % 64)};
    return {byte(0xF0 + value / 262144), byte(0x80 + value / 4096 % 64), byte(0x80 + value / 64 % 64),
            byte(0x80 + value % 64)};
}

std::u16string written(std::uint32_t value, const std::u16string&, bool fromUtf32) {
    if (fromUtf32 && (surrogate(value) || value > 0x10FFFF))
        value = 0xFFFD;
    if (value < 0x10000)
        return {static_cast<char16_t>(value)};
    return {static_cast<char16_t>(0xD800 + (value - 0x10000) / 0x400),
            static_cast<char16_t>(0xDC00 + (value - 0x10000) % 0x400)};
}

std::u32string written(std::uint32_t value, const std::u32string&, bool) { return {static_cast<char32_t>(value)}; }

template <class Text, class Source>
Outcome<Text> model(const Source& source, bool strict, std::uint32_t limit) {
    constexpr bool FROM_UTF32 = std::is_same_v<Source, std::u32string>;
    Outcome<Text> outcome;
    if (limit == 0)
        return {{}, NO_SLOT};
    for (std::size_t at = 0; at < source.size() && outcome.fault == nullptr;) {
        if (FROM_UTF32 && std::is_same_v<Text, std::u16string> && outcome.text.size() >= limit) {
            outcome.fault = TOO_LONG;
            break;
        }
        const Read read = readOne(source, at, strict);
        at += read.length;
        outcome.fault = read.fault;
        if (read.fault != nullptr)
            break;
        const Text units = written(read.value, Text(), FROM_UTF32);
        if (outcome.text.size() + units.size() > limit)
            outcome.fault = TOO_LONG;
        else
            outcome.text += units;
    }
    if (outcome.text.size() >= limit)
        outcome.text.resize(limit - 1);
    return outcome;
}

[[noreturn]] void fail(const char* what, const char* why, bool strict, std::uint32_t limit) {
    std::fprintf(stderr, "%s, strict %d, limit %u: %s\n", what, strict, limit, why);
    std::abort();
}

template <class Text, class Source, class Conversion>
void compare(const char* what, const Source& source, std::uint32_t limit, Conversion conversion) {
    for (const bool strict : {false, true}) {
        const Outcome<Text> expected = model<Text>(source, strict, limit);
        for (const ConvertUTF::ExceptionStrategy* strategy :
             {&ConvertUTF::EXCEPT, static_cast<const ConvertUTF::ExceptionStrategy*>(&ConvertUTF::NO_EXCEPT)}) {
            const bool raises = expected.fault != nullptr && (strategy == &ConvertUTF::EXCEPT || limit == 0);
            try {
                const Text text = conversion(source.c_str(), strict, *strategy);
                if (raises)
                    fail(what, "nothing was raised", strict, limit);
                if (text != expected.text)
                    fail(what, "another result", strict, limit);
            } catch (const norq_std::NorqIllegalArgumentException& e) {
                if (!raises || limit == 0 || e.getMessage() != expected.fault)
                    fail(what, "another message", strict, limit);
            } catch (const norq_std::NorqBufferOverflowException& e) {
                if (limit != 0 || e.getMessage() != NO_SLOT)
                    fail(what, "an overflow", strict, limit);
            }
        }
    }
}

template <class Text>
Text upToZero(Text text) {
    return text.substr(0, text.find(typename Text::value_type{}));
}

void compareAll(const std::basic_string<unsigned char>& bytes, const std::u16string& utf16, const std::u32string& utf32,
                std::uint32_t limit) {
    ConvertUTF::setMaxStringSize(limit);
    if (ConvertUTF::getMaxStringSize() != limit)
        fail("limit", "not kept", false, limit);
    compare<std::u16string>("utf8ToUtf16", bytes, limit, ConvertUTF::utf8ToUtf16);
    compare<std::u32string>("utf8ToUtf32", bytes, limit, ConvertUTF::utf8ToUtf32);
    compare<std::string>("utf16ToUtf8", utf16, limit, ConvertUTF::utf16ToUtf8);
    compare<std::u32string>("utf16ToUtf32", utf16, limit, ConvertUTF::utf16ToUtf32);
    compare<std::string>("utf32ToUtf8", utf32, limit, ConvertUTF::utf32ToUtf8);
    compare<std::u16string>("utf32ToUtf16", utf32, limit, ConvertUTF::utf32ToUtf16);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    const auto limit = static_cast<std::uint32_t>(data[0] | data[1] << 8);
    data += 2;
    size -= 2;
    std::u16string utf16(size / 2, 0);
    std::memcpy(utf16.data(), data, utf16.size() * 2);
    std::u32string utf32(size / 4, 0);
    std::memcpy(utf32.data(), data, utf32.size() * 4);
    for (char32_t& value : utf32) // mostly near the values that count
        value = value % 16 == 0 ? value : value % 0x110400;
    const auto bytes = upToZero(std::basic_string<unsigned char>(data, size));
    utf16 = upToZero(utf16);
    utf32 = upToZero(utf32);
    compareAll(bytes, utf16, utf32, limit);
    compareAll(bytes, utf16, utf32, static_cast<std::uint32_t>(bytes.size() + limit % 4));

    // Well-formed text of any length in front, in all three encodings.
    const std::u32string valid = model<std::u32string>(bytes, true, 32768).text;
    const std::string validBytes = model<std::string>(valid, true, 0x7FFFFFFF).text;
    const std::basic_string<unsigned char> front(validBytes.begin(), validBytes.end());
    compareAll(front + front + bytes, model<std::u16string>(valid, true, 0x7FFFFFFF).text + utf16, valid + utf32,
               limit);
    return 0;
}

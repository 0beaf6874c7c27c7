// The decoders of bytes as text against models that take their rules one character at a time: Base64 with a target and
// without one, hexadecimal, delimited numbers; and what the encoders make of an input, decoded again.

#include "base/Base64Utils.h"
#include "base/EncodingUtils.h"
#include "stream/ByteArray.h"
#include "stream/ByteBuffer.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

namespace {

using norq_std::Base64Utils;
using norq_std::ByteArray;
using norq_std::EncodingUtils;

using Decoded = std::optional<std::string>;

void expect(bool good, const char* what) {
    if (good)
        return;
    std::fprintf(stderr, "%s differs from its model\n", what);
    std::abort();
}

int sextet(char c) {
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 26;
    if (c >= '0' && c <= '9')
        return c - '0' + 52;
    return c == '+' ? 62 : c == '/' ? 63 : -1;
}

/// The text is cut at its first zero and freed of white space, which is skipped wherever it stands.
Decoded base64(std::string text, bool strict) {
    text.resize(std::min(text.find('\0'), text.size()));
    std::erase_if(text, [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); });
    const std::size_t padding = std::min(text.find('='), text.size());
    std::string bits;
    for (const char c : text.substr(0, padding)) {
        if (sextet(c) < 0)
            return std::nullopt;
        for (int bit = 5; bit >= 0; --bit)
            bits += static_cast<char>('0' + (sextet(c) >> bit & 1));
    }
    const std::string rest = text.substr(padding);
    const std::size_t state = padding % 4;
    if (rest != (state == 0 ? "" : state == 2 ? "==" : state == 3 ? "=" : "never"))
        return std::nullopt;
    std::string bytes;
    for (; bits.size() >= 8; bits.erase(0, 8))
        bytes += static_cast<char>(std::stoi(bits.substr(0, 8), nullptr, 2));
    return strict && bits.find('1') != bits.npos ? std::nullopt : Decoded(bytes);
}

template <class Text>
std::string hexadecimal(const Text& text) {
    const auto digit = [](std::uint32_t c) {
        return c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : 0;
    };
    std::string bytes;
    for (std::size_t i = 0; text.size() % 2 == 0 && i < text.size(); i += 2)
        bytes += static_cast<char>(digit(static_cast<std::make_unsigned_t<typename Text::value_type>>(text[i])) * 16 +
                                   digit(static_cast<std::make_unsigned_t<typename Text::value_type>>(text[i + 1])));
    return bytes;
}

template <class Text>
Decoded delimited(const Text& text) {
    std::string bytes;
    std::string number;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        const std::uint32_t c = i == text.size() ? '-' : static_cast<std::uint32_t>(text[i]);
        if (c >= '0' && c <= '9') {
            number += static_cast<char>(c);
        } else if (c == '-') {
            unsigned value = 0;
            for (const char d : number)
                value = (value * 10 + static_cast<unsigned>(d - '0')) % 256;
            if (!number.empty())
                bytes += static_cast<char>(value);
            number.clear();
        } else {
            return std::nullopt;
        }
    }
    return bytes;
}

std::string content(norq_std::ByteBuffer& buffer) { return buffer.getByteArray(buffer.remaining())->toString(); }

template <class Text>
void compareTexts(const Text& text) {
    const std::string bytes = hexadecimal(text);
    expect(EncodingUtils::hexStringToByteArray(text)->toString() == bytes, "hexadecimal");
    expect(content(*EncodingUtils::hexStringToByteBuffer(text)) == bytes, "hexadecimal in a buffer");
    const Decoded numbers = delimited(text);
    expect(EncodingUtils::delimStringToByteArray(text)->toString() == numbers.value_or(""), "delimited");
    const auto buffer = EncodingUtils::delimStringToByteBuffer(text);
    expect((buffer != nullptr) == numbers.has_value(), "delimited: refusal");
    expect(buffer == nullptr || content(*buffer) == *numbers, "delimited in a buffer");
}

void compareBase64(const std::string& text) {
    const Decoded strict = base64(text, true);
    const auto decoded = Base64Utils::base64ToByteArray(text);
    expect((decoded != nullptr) == strict.has_value(), "Base64: refusal");
    expect(decoded == nullptr || decoded->toString() == *strict, "Base64");
    expect(Base64Utils::base64ToMbcs(text) == std::string(strict.value_or("").c_str()), "Base64 as text");
    expect(Base64Utils::isBase64String(text) == base64(text, false).has_value(), "the check of Base64");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    compareBase64(bytes);
    compareTexts(bytes);
    std::u16string wide;
    for (std::size_t i = 0; i + 1 < size; i += 2)
        wide += static_cast<char16_t>(data[i] % 4 == 0 ? data[i] << 8 | data[i + 1] : data[i + 1]);
    compareTexts(wide);

    const ByteArray array(bytes);
    const std::string encoded = Base64Utils::byteArrayToBase64(array);
    expect(base64(encoded, true) == bytes, "encoded Base64");
    compareBase64(encoded + bytes); // faults behind a long good run
    if (size > 0) {
        std::string broken = encoded;
        broken.insert(data[0] % (broken.size() + 1), bytes.substr(0, size / 8 + 1));
        compareBase64(broken);
    }
    expect(*EncodingUtils::hexStringToByteArray(EncodingUtils::toHexString(array)) == array, "hexadecimal and back");
    expect(*EncodingUtils::delimStringToByteArray(EncodingUtils::toDelimString(array)) == array, "delimited and back");
    return 0;
}

// The operations of EncodingUtils on bytes, a storey above the others.

#include "base/EncodingUtils.h"
#include "base/InternalLog.h"
#include "internal/ByteText.h"
#include "internal/RawBytes.h"
#include "stream/ByteArray.h"
#include "stream/ByteBuffer.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <vector>

namespace norq_std {

namespace {

using Bytes = std::span<const unsigned char>;

constexpr WChar DelimitedEncoding[] = u"DelimiteredEncoding";
constexpr WChar Delimiter = u'-';
constexpr std::size_t ChunkBytes = 512; // texts are made piece by piece in a cache and appended

/// A byte in decimal with a delimiter behind it.
struct DelimitedByte {
    std::array<WChar, 4> units{};
    std::uint8_t length = 0;
};

constexpr auto DelimitedBytes = [] {
    std::array<DelimitedByte, 256> all{};
    for (std::size_t byte = 0; byte < all.size(); ++byte) {
        DelimitedByte& text = all[byte];
        for (const std::size_t unit : {100U, 10U, 1U})
            if (byte >= unit || unit == 1)
                text.units[text.length++] = static_cast<WChar>(u'0' + byte / unit % 10);
        text.units[text.length++] = Delimiter;
    }
    return all;
}();

Bytes bytesOf(const ByteArray& array) { return {array.getArray().get(), static_cast<std::size_t>(array.getLength())}; }

Bytes bytesOf(ByteBuffer& buffer) {
    buffer.setMark();
    return {buffer.array() + buffer.getPosition(), static_cast<std::size_t>(buffer.remaining())};
}

WString hexadecimal(Bytes bytes) {
    WString text;
    text.reserve(bytes.size() * 2);
    for (std::array<WChar, ChunkBytes * 2> chunk; !bytes.empty();) {
        const std::size_t count = std::min(bytes.size(), ChunkBytes);
        norq_std_internal::encodeHexadecimal(bytes.data(), count, chunk.data());
        text.append(chunk.data(), count * 2);
        bytes = bytes.subspan(count);
    }
    return text;
}

WString delimited(Bytes bytes) {
    WString text;
    text.reserve(bytes.size() * 4);
    for (std::array<WChar, ChunkBytes * 4> chunk; !bytes.empty();) {
        const std::size_t count = std::min(bytes.size(), ChunkBytes);
        WChar* to = chunk.data();
        for (const unsigned char byte : bytes.first(count)) {
            const DelimitedByte& piece = DelimitedBytes[byte];
            std::memcpy(to, piece.units.data(), sizeof piece.units);
            to += piece.length;
        }
        text.append(static_cast<const WChar*>(chunk.data()), static_cast<const WChar*>(to));
        bytes = bytes.subspan(count);
    }
    if (!text.empty())
        text.pop_back();
    return text;
}

/// The bytes of a hexadecimal text; 0 if it has none, or more than an array can hold.
std::size_t hexadecimalBytes(std::size_t units) {
    const bool fits = units / 2 <= static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
    return units % 2 == 0 && fits ? units / 2 : 0;
}

template <class Text>
std::shared_ptr<ByteArray> arrayOfHexadecimal(const Text& text) {
    const std::size_t count = hexadecimalBytes(text.size());
    auto array = norq_std_internal::RawBytes::make(static_cast<std::int32_t>(count));
    norq_std_internal::decodeHexadecimal(text.data(), count, array->getArray().get());
    return array;
}

template <class Text>
std::shared_ptr<ByteBuffer> bufferOfHexadecimal(const Text& text) {
    const std::size_t count = hexadecimalBytes(text.size());
    auto buffer = ByteBuffer::allocate(static_cast<std::int32_t>(count));
    norq_std_internal::decodeHexadecimal(text.data(), count, buffer->array());
    return buffer;
}

void reportInvalid(const WChar* function, const WString& text) {
    if (__internal_debug_on())
        __internal_debug(function, u"EncodingUtilsBytes.cpp", __LINE__, u"<%ls> string is invalid.", text.c_str());
}

void reportInvalid(const WChar* function, const std::string& text) {
    if (__internal_debug_on())
        __internal_debug(function, u"EncodingUtilsBytes.cpp", __LINE__, u"<%hhs> string is invalid.", text.c_str());
}

/// Nothing if the text is invalid.
template <class Text>
std::optional<std::vector<unsigned char>> bytesOfDelimited(const Text& text, const WChar* function) {
    std::vector<unsigned char> bytes;
    bytes.reserve(text.size() / 2 + 1);
    std::uint32_t number = 0; // its low 8 bits are right however often it overflows
    bool hasDigits = false;
    for (const auto unit : text) {
        if (unit >= '0' && unit <= '9') {
            number = number * 10 + static_cast<std::uint32_t>(unit - '0');
            hasDigits = true;
        } else if (unit == Delimiter) {
            if (hasDigits)
                bytes.push_back(static_cast<unsigned char>(number));
            number = 0;
            hasDigits = false;
        } else {
            reportInvalid(function, text);
            return std::nullopt;
        }
    }
    if (hasDigits)
        bytes.push_back(static_cast<unsigned char>(number));
    return bytes;
}

template <class Text>
std::shared_ptr<ByteArray> arrayOfDelimited(const Text& text) {
    const auto bytes = bytesOfDelimited(text, u"norq_std::EncodingUtils::delimStringToByteArray");
    if (!bytes || bytes->empty())
        return std::make_shared<ByteArray>();
    return std::make_shared<ByteArray>(bytes->data(), static_cast<std::int32_t>(bytes->size()));
}

template <class Text>
std::shared_ptr<ByteBuffer> bufferOfDelimited(const Text& text) {
    const auto bytes = bytesOfDelimited(text, u"norq_std::EncodingUtils::delimStringToByteBuffer");
    if (!bytes)
        return nullptr;
    auto buffer = ByteBuffer::allocate(static_cast<std::int32_t>(bytes->size()));
    std::ranges::copy(*bytes, buffer->array());
    return buffer;
}

} // namespace

WString EncodingUtils::toHexString(const ByteArray& bytes) { return hexadecimal(bytesOf(bytes)); }

WString EncodingUtils::toHexString(ByteBuffer& buffer) { return hexadecimal(bytesOf(buffer)); }

WString EncodingUtils::toDelimString(const ByteArray& bytes) { return delimited(bytesOf(bytes)); }

WString EncodingUtils::toDelimString(ByteBuffer& buffer) { return delimited(bytesOf(buffer)); }

std::shared_ptr<ByteArray> EncodingUtils::hexStringToByteArray(const WString& text) { return arrayOfHexadecimal(text); }

std::shared_ptr<ByteArray> EncodingUtils::hexStringToByteArray(const std::string& text) {
    return arrayOfHexadecimal(text);
}

std::shared_ptr<ByteBuffer> EncodingUtils::hexStringToByteBuffer(const WString& text) {
    return bufferOfHexadecimal(text);
}

std::shared_ptr<ByteBuffer> EncodingUtils::hexStringToByteBuffer(const std::string& text) {
    return bufferOfHexadecimal(text);
}

std::shared_ptr<ByteArray> EncodingUtils::delimStringToByteArray(const WString& text) { return arrayOfDelimited(text); }

std::shared_ptr<ByteArray> EncodingUtils::delimStringToByteArray(const std::string& text) {
    return arrayOfDelimited(text);
}

std::shared_ptr<ByteBuffer> EncodingUtils::delimStringToByteBuffer(const WString& text) {
    return bufferOfDelimited(text);
}

std::shared_ptr<ByteBuffer> EncodingUtils::delimStringToByteBuffer(const std::string& text) {
    return bufferOfDelimited(text);
}

WString EncodingUtils::encodeString(const ByteArray& bytes, const WString& encoding) {
    return encoding == DelimitedEncoding ? toDelimString(bytes) : toHexString(bytes);
}

std::shared_ptr<ByteArray> EncodingUtils::decodeString(const WString& text, const WString& encoding) {
    return encoding == DelimitedEncoding ? delimStringToByteArray(text) : hexStringToByteArray(text);
}

} // namespace norq_std

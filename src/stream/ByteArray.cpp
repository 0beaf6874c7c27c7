#include "stream/ByteArray.h"

#include "base/EncodingUtils.h"
#include "base/ErrorUtils.h"
#include "exception/NorqException.h"

#include <cstring>
#include <limits>
#include <utility>

namespace norq_std {

namespace {

constexpr WChar LengthName[] = u"ByteArray length";
constexpr WChar Windows1252[] = u"windows-1252";
constexpr WChar Utf8[] = u"UTF-8";

void copy(void* target, const void* source, std::size_t size) {
    if (size > 0)
        std::memcpy(target, source, size);
}

} // namespace

ByteArray::ByteArray() = default;

ByteArray::ByteArray(std::int32_t arrayLength) {
    ErrorUtils::isBelowMinEx(arrayLength, 0, u"norq_std::ByteArray::ByteArray", LengthName);
    data = std::make_shared<unsigned char[]>(static_cast<std::size_t>(arrayLength));
    length = arrayLength;
}

ByteArray::ByteArray(const unsigned char* bytes, std::int32_t arrayLength) {
    ErrorUtils::isNullEx(bytes, u"norq_std::ByteArray::ByteArray", u"ByteArray value");
    ErrorUtils::isBelowMinEx(arrayLength, 0, u"norq_std::ByteArray::ByteArray", LengthName);
    assign(bytes, static_cast<std::size_t>(arrayLength));
}

ByteArray::ByteArray(const std::string& bytes) { assign(bytes.data(), bytes.size()); }

ByteArray::ByteArray(const WString& text, const WString& encoding) {
    if (text.empty())
        return;
    if (encoding == Windows1252 || encoding == Utf8) {
        const std::string bytes =
            encoding == Utf8 ? EncodingUtils::convertUnicodeToUtf8(text) : EncodingUtils::convertUnicodeToMbcs(text, 0);
        assign(bytes.data(), bytes.size());
    } else {
        assign(text.data(), text.size() * WCHAR_T_SIZE);
    }
}

ByteArray::ByteArray(const ByteArray& other) {
    if (other.data)
        assign(other.data.get(), static_cast<std::size_t>(other.length));
}

ByteArray::ByteArray(ByteArray&& other) noexcept
    : data(std::move(other.data))
    , length(std::exchange(other.length, 0)) {}

ByteArray& ByteArray::operator=(const ByteArray& other) {
    if (this != &other)
        *this = ByteArray(other);
    return *this;
}

ByteArray& ByteArray::operator=(ByteArray&& other) noexcept {
    if (this != &other) {
        data = std::move(other.data);
        length = std::exchange(other.length, 0);
    }
    return *this;
}

ByteArray::~ByteArray() = default;

std::string ByteArray::toString() const {
    return length == 0 ? std::string()
                       : std::string(reinterpret_cast<const char*>(data.get()), static_cast<std::size_t>(length));
}

WString ByteArray::toWString(const WString& encoding) const {
    if (length == 0)
        return {};
    if (encoding == Windows1252)
        return EncodingUtils::convertMbcsToUnicode(toString(), 0);
    if (encoding == Utf8)
        return EncodingUtils::convertUtf8ToUnicode(toString());
    WString text(static_cast<std::size_t>(length / WCHAR_T_SIZE), u'\0');
    copy(text.data(), data.get(), text.size() * WCHAR_T_SIZE);
    return text;
}

bool ByteArray::operator==(const ByteArray& other) const {
    return this == &other ||
           (length == other.length &&
            (length == 0 || std::memcmp(data.get(), other.data.get(), static_cast<std::size_t>(length)) == 0));
}

void ByteArray::clear() {
    data.reset();
    length = 0;
}

unsigned char& ByteArray::outside(std::int32_t index) const {
    constexpr const WChar* function = u"norq_std::ByteArray::operator[]";
    constexpr const WChar* name = u"Column in array";
    try {
        ErrorUtils::isBelowMinEx(index, 0, function, name);
        ErrorUtils::isAboveMaxEx(index, length - 1, function, name);
    } catch (const NorqIllegalArgumentException&) { // the check has logged it
        fallback = 0;
    }
    return fallback;
}

void ByteArray::assign(const void* bytes, std::size_t size) {
    constexpr auto most = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
    if (size > most)
        ErrorUtils::isAboveMaxEx(static_cast<std::int64_t>(size), std::numeric_limits<std::int32_t>::max(),
                                 u"norq_std::ByteArray::ByteArray", LengthName);
    data = std::make_shared_for_overwrite<unsigned char[]>(size);
    copy(data.get(), bytes, size);
    length = static_cast<std::int32_t>(size);
}

} // namespace norq_std

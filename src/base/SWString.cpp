#include "base/SWString.h"

#include "base/EncodingUtils.h"
#include "base/StringUtils.h"
#include "base/WideChar.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

namespace NorqStd {

using norq_std::EncodingUtils;
using norq_std::StringUtils;
using norq_std::WChar;
using norq_std::WideChar;
using norq_std::WString;

namespace {

/// At most `length` bytes of a terminated text; none of a null pointer.
std::string firstBytes(const char* text, std::size_t length = SWString::npos) {
    return text == nullptr ? std::string() : std::string(text, strnlen(text, length));
}

WString widen(const char* text, std::uint32_t codePage) {
    return EncodingUtils::convertMbcsToUnicode(firstBytes(text), codePage);
}

std::u16string_view untilZero(const WString& text) { return std::u16string_view(text).substr(0, text.find(WChar{0})); }

template <class T>
T leadingNumber(const WString& text) {
    std::string narrow;
    for (auto at = std::ranges::find_if_not(text, WideChar::isSpace); at != text.end() && *at < 0x80; ++at)
        narrow += static_cast<char>(*at);
    const char* begin = narrow.c_str();
    const char* const end = begin + narrow.size();
    if (begin[0] == '+' && WideChar::isAsciiDigit(static_cast<WChar>(begin[1])))
        ++begin;
    T number = 0;
    if (std::from_chars(begin, end, number).ec == std::errc::result_out_of_range)
        return *begin == '-' ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
    return number;
}

} // namespace

SWString::SWString() = default;
SWString::SWString(const SWString& text)
    : WString(text) {}
SWString::SWString(SWString&& text) noexcept
    : WString(std::move(text)) {}
SWString::SWString(const WString& text)
    : WString(text) {}
SWString::SWString(WString&& text) noexcept
    : WString(std::move(text)) {}
SWString::SWString(const WString& text, size_type position, size_type length)
    : WString(text, position, length) {}
SWString::SWString(const WChar* text)
    : WString(text) {}
SWString::SWString(const WChar* text, size_type length)
    : WString(text, length) {}
SWString::SWString(size_type count, WChar unit)
    : WString(count, unit) {}
SWString::SWString(std::initializer_list<WChar> units)
    : WString(units) {}
SWString::SWString(WChar unit)
    : WString(1, unit) {}
SWString::SWString(char byte)
    : WString(StringUtils::format(u"%C", byte)) {}

SWString::SWString(const char* text, CodeType codeType, std::uint32_t codePage)
    : SWString(text, npos, codeType, codePage) {}

SWString::SWString(const char* text, std::size_t length, CodeType codeType, std::uint32_t codePage) {
    if (codeType == CODE_UTF8)
        SetUTF8(text, length);
    else if (codeType == CODE_BASE64)
        SetBase64(text, length);
    else
        WString::assign(EncodingUtils::convertMbcsToUnicode(firstBytes(text, length), codePage));
}

SWString::~SWString() = default;

SWString& SWString::operator=(const SWString& text) { return assign(text); }
SWString& SWString::operator=(SWString&& text) noexcept {
    WString::operator=(static_cast<WString&&>(text));
    return *this;
}
SWString& SWString::operator=(const WString& text) { return assign(text); }
SWString& SWString::operator=(WString&& text) noexcept {
    WString::operator=(std::move(text));
    return *this;
}
SWString& SWString::operator=(const WChar* text) { return assign(text); }
SWString& SWString::operator=(WChar unit) { return assign(size_type{1}, unit); }
SWString& SWString::operator=(std::initializer_list<WChar> units) { return assign(units); }
SWString& SWString::operator=(const char* text) { return assign(text, 0); }

SWString SWString::operator+(const WString& text) const { return SWString(*this).append(text); }
SWString SWString::operator+(const WChar* text) const { return SWString(*this).append(text); }
SWString SWString::operator+(WChar unit) const { return SWString(*this).append(unit); }

SWString& SWString::append(const char* text, std::uint32_t codePage) { return append(widen(text, codePage)); }
SWString& SWString::assign(const char* text, std::uint32_t codePage) { return assign(widen(text, codePage)); }
SWString& SWString::insert(size_type position, const char* text, std::uint32_t codePage) {
    return insert(position, widen(text, codePage));
}
SWString& SWString::replace(size_type position, size_type count, const char* text, std::uint32_t codePage) {
    return replace(position, count, widen(text, codePage));
}

SWString& SWString::append(WChar unit) { return append(size_type{1}, unit); }
SWString& SWString::append(std::initializer_list<WChar> units) {
    WString::append(units);
    return *this;
}
SWString& SWString::assign(std::initializer_list<WChar> units) {
    WString::assign(units);
    return *this;
}
SWString::iterator SWString::insert(const_iterator position, std::initializer_list<WChar> units) {
    return WString::insert(position, units);
}
SWString& SWString::replace(const_iterator first, const_iterator last, std::initializer_list<WChar> units) {
    WString::replace(first, last, units);
    return *this;
}

bool SWString::operator==(const char* text) const { return std::strcmp(mb_str(0), text == nullptr ? "" : text) == 0; }

bool SWString::operator<(const SWString& other) const { return untilZero(*this) < untilZero(other); }

const char* SWString::mb_str(std::uint32_t codePage) const {
    return view(EncodingUtils::convertUnicodeToMbcs(*this, codePage));
}

const char* SWString::utf8_str() const { return view(EncodingUtils::convertUnicodeToUtf8(*this)); }

const char* SWString::base64_str() const {
    return view(EncodingUtils::convertMbcsToBase64(EncodingUtils::convertUnicodeToMbcs(*this, 0)));
}

const char* SWString::view(std::string text) const {
    *scratch = std::move(text);
    return scratch->c_str();
}

bool SWString::SetUTF8(const char* text) { return SetUTF8(text, npos); }

bool SWString::SetUTF8(const char* text, std::size_t length) {
    const std::string bytes = firstBytes(text, length);
    WString wide = EncodingUtils::convertUtf8ToUnicode(bytes);
    if (wide.empty() && !bytes.empty())
        return false;
    WString::operator=(std::move(wide));
    return true;
}

bool SWString::SetBase64(const char* text) { return SetBase64(text, npos); }

bool SWString::SetBase64(const char* text, std::size_t length) {
    const std::string bytes = firstBytes(text, length);
    WString wide = EncodingUtils::convertMbcsToUnicode(EncodingUtils::convertBase64ToMbcs(bytes), 0);
    if (wide.empty() && !bytes.empty())
        return false;
    WString::operator=(std::move(wide));
    return true;
}

SWString& SWString::ToUpper() {
    std::ranges::transform(*this, begin(), WideChar::toUpper);
    return *this;
}

SWString& SWString::ToLower() {
    std::ranges::transform(*this, begin(), WideChar::toLower);
    return *this;
}

int SWString::ToInt() const { return leadingNumber<int>(*this); }

std::int32_t SWString::ToLong() const { return leadingNumber<std::int32_t>(*this); }

SWString& SWString::TrimString() {
    while (!empty() && WideChar::isSpace(back()))
        pop_back();
    return *this;
}

} // namespace NorqStd

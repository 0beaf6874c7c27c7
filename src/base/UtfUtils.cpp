#include "base/UtfUtils.h"

#include "base/Utf8Utils.h"
#include "internal/ConvertUTF.h"

namespace norq_std {

using norq_std_internal::ConvertUTF;

namespace {

const unsigned char* bytesOf(const char* text) { return reinterpret_cast<const unsigned char*>(text); }

} // namespace

UtfUtils::~UtfUtils() = default;

bool UtfUtils::internalIsUtf8String(const char* text) { return Utf8Utils::isUtf8String(std::string(text)); }

WString UtfUtils::internalUtf8ToUtf16(const char* text) {
    return ConvertUTF::utf8ToUtf16(bytesOf(text), false, ConvertUTF::NO_EXCEPT);
}

std::string UtfUtils::internalUtf16ToUtf8(const WChar* text) {
    return ConvertUTF::utf16ToUtf8(text, false, ConvertUTF::NO_EXCEPT);
}

std::string UtfUtils::internalUtf32ToUtf8(const char32_t* text) {
    return ConvertUTF::utf32ToUtf8(text, false, ConvertUTF::NO_EXCEPT);
}

WString UtfUtils::internalUtf32ToUtf16(const char32_t* text) {
    return ConvertUTF::utf32ToUtf16(text, false, ConvertUTF::NO_EXCEPT);
}

std::u32string UtfUtils::internalUtf8ToUtf32(const char* text) {
    return ConvertUTF::utf8ToUtf32(bytesOf(text), false, ConvertUTF::NO_EXCEPT);
}

std::u32string UtfUtils::internalUtf16ToUtf32(const WChar* text) {
    return ConvertUTF::utf16ToUtf32(text, false, ConvertUTF::NO_EXCEPT);
}

} // namespace norq_std

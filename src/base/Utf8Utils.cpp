#include "base/Utf8Utils.h"

#include "base/LogMacros.h"
#include "base/UtfUtils.h"

#include <bit>

namespace norq_std {

namespace {

constexpr int MAX_CONTINUATIONS = 5;

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

/// Length that the top bits of a lead byte announce, 0 for a byte that cannot lead.
int announcedLength(char byte) {
    const int ones = std::countl_one(static_cast<unsigned char>(byte));
    return ones >= 2 && ones <= 6 ? ones : 0;
}

bool isShortSequences(const char* text) {
    while (*text != '\0') {
        const char lead = *text++;
        if (static_cast<unsigned char>(lead) < 0x80)
            continue;
        const int length = announcedLength(lead);
        if (length != 2 && length != 3)
            return false;
        for (int i = 1; i < length; ++i)
            if (!isContinuation(*text++))
                return false;
    }
    return true;
}

} // namespace

Utf8Utils::~Utf8Utils() = default;

bool Utf8Utils::isUtf8String(const std::string& text) {
    const bool valid = isShortSequences(text.c_str());
    if (!valid)
        NORQ_LOG(DEBUG, u"norq_std::Utf8Utils::isUtf8String", u"Value is not a valid UTF-8 string.");
    return valid;
}

std::string Utf8Utils::unicodeToUtf8(const WString& text) { return UtfUtils::utf16ToUtf8(text); }

// NOLINTNEXTLINE(performance-unnecessary-value-param): programs are linked to this signature
WString Utf8Utils::utf8ToUnicode(std::string text) { return UtfUtils::utf8ToUtf16(text); }

std::uint32_t Utf8Utils::getUnicodeStringLength(const std::string& text) {
    std::uint32_t characters = 0;
    for (const char* at = text.c_str(); *at != '\0'; ++characters) {
        const bool multiByte = static_cast<unsigned char>(*at++) >= 0x80;
        for (int i = 0; multiByte && i < MAX_CONTINUATIONS && isContinuation(*at); ++i)
            ++at;
    }
    return characters + 1;
}

std::uint32_t Utf8Utils::getUtf8StringLength(const WString& text) {
    std::uint32_t bytes = 0;
    for (const WChar* at = text.c_str(); *at != 0; ++at)
        bytes += *at < 0x80 ? 1 : *at < 0x800 ? 2 : 3;
    return bytes + 1;
}

} // namespace norq_std

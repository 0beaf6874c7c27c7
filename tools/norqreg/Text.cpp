#include "Text.h"

#include "Failure.h"

#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "internal/ConvertUTF.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <utility>

namespace norqreg {
namespace {

using norq_std_internal::ConvertUTF;

constexpr WChar REPLACEMENT = 0xfffd;

constexpr bool isHigh(WChar unit) { return (unit & 0xfc00) == 0xd800; }
constexpr bool isLow(WChar unit) { return (unit & 0xfc00) == 0xdc00; }

bool isHalf(const WString& text, std::size_t at) {
    if (isHigh(text[at]))
        return at + 1 == text.size() || !isLow(text[at + 1]);
    return isLow(text[at]) && (at == 0 || !isHigh(text[at - 1]));
}

/// Controls, separators of lines, marks that turn the direction of the text, and what has no width.
constexpr bool isUnseen(WChar unit) {
    constexpr std::array<std::pair<WChar, WChar>, 8> ranges{{{0, 0x1f},
                                                             {0x7f, 0x9f},
                                                             {0xad, 0xad},
                                                             {0x61c, 0x61c},
                                                             {0x200b, 0x200f},
                                                             {0x2028, 0x202e},
                                                             {0x2060, 0x206f},
                                                             {0xfeff, 0xfeff}}};
    for (const auto& [first, last] : ranges)
        if (unit >= first && unit <= last)
            return true;
    return false;
}

WString escapeOf(WChar unit) {
    switch (unit) {
    case u'"':
        return u"\\\"";
    case u'\\':
        return u"\\\\";
    case u'\n':
        return u"\\n";
    case u'\r':
        return u"\\r";
    case u'\t':
        return u"\\t";
    default:
        std::array<char, 8> digits{};
        std::snprintf(digits.data(), digits.size(), "\\u%04x", static_cast<unsigned>(unit));
        return norq_std::UtfUtils::utf8ToUtf16(digits.data());
    }
}

std::string quoted(const WString& text) {
    WString result = u"\"";
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == u'"' || text[i] == u'\\' || isUnseen(text[i]) || isHalf(text, i))
            result += escapeOf(text[i]);
        else
            result += text[i];
    }
    return narrow(result + u"\"");
}

bool isPlain(const WString& text) {
    if (text.empty() || text.front() == u' ' || text.back() == u' ')
        return false;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] == u'"' || isUnseen(text[i]) || isHalf(text, i))
            return false;
    return true;
}

} // namespace

WString widen(std::string_view bytes) {
    try {
        const std::string text(bytes);
        return ConvertUTF::utf8ToUtf16(reinterpret_cast<const unsigned char*>(text.c_str()), true, ConvertUTF::EXCEPT);
    } catch (const norq_std::NorqIllegalArgumentException&) {
        throw Failure(WRONG_USAGE, "this is not UTF-8: " + std::string(bytes));
    }
}

std::string narrow(const WString& text) {
    WString sound = text;
    for (std::size_t i = 0; i < sound.size(); ++i)
        if (isHalf(sound, i))
            sound[i] = REPLACEMENT;
    return norq_std::UtfUtils::utf16ToUtf8(sound);
}

std::string readable(const WString& text) { return isPlain(text) ? narrow(text) : quoted(text); }

std::string readableName(const WString& name) {
    return isPlain(name) && name.find(u'=') == WString::npos ? narrow(name) : quoted(name);
}

std::string jsonLine(const norq_std::JsonAware& value) {
    const WString json = value.toJsonString();
    WString sound;
    sound.reserve(json.size());
    for (std::size_t i = 0; i < json.size(); ++i) {
        if (isHalf(json, i))
            sound += escapeOf(json[i]);
        else
            sound += json[i];
    }
    return narrow(sound);
}

} // namespace norqreg

#include "platform/linux/RegistryText.h"

#include "internal/UnicodeUnits.h"
#include "platform/Error.h"
#include "platform/NarrowText.h"
#include "platform/Registry.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

#include <unicode/uchar.h>
#include <unicode/utf16.h>

namespace norq_std_internal::platform {
namespace {

static_assert(std::endian::native == std::endian::little, "the units of a value are copied as they are");

constexpr std::uint8_t FoldingVersion = 15;

bool isLone(std::u16string_view text, std::size_t at) {
    if (!isSurrogate(text[at]))
        return false;
    if (isHighSurrogate(text[at]))
        return at + 1 == text.size() || !isLowSurrogate(text[at + 1]);
    return at == 0 || !isHighSurrogate(text[at - 1]);
}

void appendStored(std::string& target, std::u16string_view text) {
    std::size_t from = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!isLone(text, at)) [[likely]]
            continue;
        appendUtf8(target, text.substr(from, at - from));
        const char16_t unit = text[at];
        target += {static_cast<char>(0xE0 | (unit >> 12)), static_cast<char>(0x80 | ((unit >> 6) & 0x3F)),
                   static_cast<char>(0x80 | (unit & 0x3F))};
        from = at + 1;
    }
    appendUtf8(target, text.substr(from));
}

UChar32 folded(UChar32 c) {
    const UChar32 result = u_foldCase(c, U_FOLD_CASE_DEFAULT);
    if (result == c)
        return c;
    UVersionInfo age{};
    u_charAge(c, age);
    return age[0] <= FoldingVersion ? result : c;
}

std::u16string unitsOf(std::string_view bytes) {
    std::u16string units(bytes.size() / sizeof(char16_t), u'\0');
    std::memcpy(units.data(), bytes.data(), units.size() * sizeof(char16_t));
    return units;
}

} // namespace

std::string storedText(std::u16string_view text) {
    std::string stored;
    appendStored(stored, text);
    return stored;
}

void appendStoredText(std::u16string& target, std::string_view stored) {
    const auto byteAt = [&](std::size_t at) { return static_cast<unsigned char>(stored[at]); };
    std::size_t from = 0;
    for (std::size_t at = stored.find('\xED'); at != stored.npos; at = stored.find('\xED', at + 1)) {
        if (at + 2 >= stored.size() || byteAt(at + 1) < 0xA0 || !isContinuation(byteAt(at + 1)) ||
            !isContinuation(byteAt(at + 2)))
            continue;
        appendWide(target, stored.substr(from, at - from));
        target += static_cast<char16_t>(0xD000 | (byteAt(at + 1) & 0x3F) << 6 | (byteAt(at + 2) & 0x3F));
        from = at + 3;
    }
    appendWide(target, stored.substr(from));
}

std::string foldedName(std::u16string_view name) {
    std::string result;
    result.reserve(name.size());
    std::size_t at = 0;
    for (; at < name.size() && name[at] < 0x80; ++at) {
        const char16_t unit = name[at];
        result += static_cast<char>(unit >= u'A' && unit <= u'Z' ? unit + 0x20 : unit);
    }
    if (at == name.size()) [[likely]]
        return result;
    std::u16string rest;
    while (at < name.size()) {
        UChar32 c = 0;
        U16_NEXT(name.data(), at, name.size(), c);
        c = folded(c);
        if (U_IS_SUPPLEMENTARY(c))
            rest += {U16_LEAD(c), U16_TRAIL(c)};
        else
            rest += static_cast<char16_t>(c);
    }
    appendStored(result, rest);
    return result;
}

std::int32_t splitRegistryPath(std::u16string_view path, std::vector<RegistryPathElement>& elements) {
    if (path.find(u'\0') != path.npos)
        return InvalidParameter;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find(u'\\'), path.size());
        if (end == 0)
            return BadPathName;
        if (end > MostKeyNameUnits || elements.size() == MostKeyDepth)
            return InvalidParameter;
        const std::u16string_view name = path.substr(0, end);
        elements.push_back({name, foldedName(name)});
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return NoError;
}

std::int32_t checkRegistryValueName(std::u16string_view name) {
    return name.size() > MostValueNameUnits || name.find(u'\0') != name.npos ? InvalidParameter : NoError;
}

StoredForm storedForm(std::uint32_t type, std::string_view bytes) {
    if (type == norq_std::REG_DWORD && bytes.size() == sizeof(std::int32_t))
        return StoredForm::Number;
    if (type != norq_std::REG_SZ || bytes.size() < sizeof(char16_t) || bytes.size() % sizeof(char16_t) != 0)
        return StoredForm::Bytes;
    for (std::size_t at = 0; at < bytes.size(); at += sizeof(char16_t))
        if ((bytes[at] == 0 && bytes[at + 1] == 0) != (at + sizeof(char16_t) == bytes.size()))
            return StoredForm::Bytes;
    return StoredForm::Text;
}

std::string textOfBytes(std::string_view bytes) {
    return storedText(unitsOf(bytes.substr(0, bytes.size() - sizeof(char16_t))));
}

std::int32_t numberOfBytes(std::string_view bytes) {
    std::int32_t number = 0;
    std::memcpy(&number, bytes.data(), sizeof number);
    return number;
}

std::string bytesOfText(std::string_view stored) {
    std::u16string units;
    appendStoredText(units, stored);
    units += u'\0';
    std::string bytes(units.size() * sizeof(char16_t), '\0');
    std::memcpy(bytes.data(), units.data(), bytes.size());
    return bytes;
}

std::string bytesOfNumber(std::int64_t number) {
    const auto low = static_cast<std::uint32_t>(number);
    std::string bytes(sizeof low, '\0');
    std::memcpy(bytes.data(), &low, sizeof low);
    return bytes;
}

} // namespace norq_std_internal::platform

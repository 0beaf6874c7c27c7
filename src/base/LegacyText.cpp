#include "base/LegacyText.h"

#include "base/StringUtils.h"
#include "base/WideChar.h"
#include "internal/NumberText.h"
#include "platform/Error.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <unicode/uchar.h>

namespace NorqStd {

using norq_std::StringUtils;
using norq_std::WChar;
using norq_std::WideChar;
using norq_std::WString;

namespace {

constexpr std::int32_t NoOption = 0;
constexpr std::int32_t NoOptionButArgument = 1;
constexpr std::int32_t UnknownOption = 65535;

constexpr WChar LastAsciiUnit = 0x7F;
constexpr char NoBreakSpace = '\xA0';

bool isSpace(char byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r') || byte == NoBreakSpace; }
bool isSpace(WChar unit) { return WideChar::isSpace(unit); }

bool isGraphicAscii(std::uint32_t unit) { return unit > ' ' && unit < LastAsciiUnit; }

bool isPrintable(char byte) { return byte == ' ' || isGraphicAscii(static_cast<unsigned char>(byte)); }
bool isPrintable(WChar unit) { return unit <= LastAsciiUnit ? unit == u' ' || isGraphicAscii(unit) : u_isprint(unit); }

bool canBeOption(char byte) { return isGraphicAscii(static_cast<unsigned char>(byte)); }
bool canBeOption(WChar unit) {
    return unit <= LastAsciiUnit ? isGraphicAscii(unit) : WideChar::isAlpha(unit) || WideChar::isDigit(unit);
}

std::int32_t lengthOf(std::u16string_view text) { return static_cast<std::int32_t>(text.size()); }

/// The decimal number, or the largest there is.
std::int32_t numberOf(const std::string& digits) {
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return error == std::errc::result_out_of_range ? std::numeric_limits<std::int32_t>::max() : number;
}

template <class Unit>
void trimInPlace(Unit* text) {
    if (text == nullptr)
        return;
    std::size_t length = std::char_traits<Unit>::length(text);
    while (length > 0 && isSpace(text[length - 1]))
        --length;
    text[length] = 0;
}

template <class Unit>
SWString dump(const Unit* units, std::int32_t length, std::int32_t base, const WChar* gap) {
    if (units == nullptr || length < 1)
        return u"\"\"";
    const int radix = base == 8 || base == 16 ? base : 10;
    const std::basic_string_view<Unit> text(units, static_cast<std::size_t>(length));
    SWString result;
    result.reserve(text.size() * 2);
    for (const Unit unit : text) {
        char digits[4];
        const char* const end =
            std::to_chars(std::begin(digits), std::end(digits), static_cast<unsigned char>(unit), radix).ptr;
        result.append(static_cast<const char*>(digits), end);
        result += u' ';
    }
    result += gap;
    result += u'"';
    for (const Unit unit : text)
        result += isPrintable(unit) ? static_cast<WChar>(unit) : u'.';
    result += u'"';
    return result;
}

template <class Unit>
bool beginsOption(const Unit* argument) {
    return *argument == '-' || *argument == '/';
}

template <class Unit>
std::int32_t nextOption(std::int32_t argc, const Unit* const* argv, const Unit* optionString, const Unit*& value) {
    value = nullptr;
    if (OptionIndex < 0 || OptionIndex >= argc || argv[OptionIndex] == nullptr) {
        ++OptionIndex;
        return NoOption;
    }
    const Unit* const argument = argv[OptionIndex++];
    const Unit* known = nullptr;
    if (beginsOption(argument) && canBeOption(argument[1]))
        known = std::char_traits<Unit>::find(optionString, std::char_traits<Unit>::length(optionString), argument[1]);
    if (known == nullptr) {
        value = argument;
        return beginsOption(argument) ? UnknownOption : NoOptionButArgument;
    }
    if (known[1] == ':') {
        if (argument[2] != 0)
            value = argument + 2;
        else if (OptionIndex < argc && argv[OptionIndex] != nullptr && !beginsOption(argv[OptionIndex]))
            value = argv[OptionIndex++];
    }
    return static_cast<std::make_unsigned_t<Unit>>(*known);
}

SWString& appSubDir() {
    static SWString& text = *new SWString;
    return text;
}

} // namespace

std::int32_t OptionIndex = 1;

std::int32_t NbrDelimFields(const SWString& text, WChar delimiter) {
    return static_cast<std::int32_t>(std::ranges::count(text, delimiter)) + 1;
}

std::int32_t GetDelimField(SWString& out, const SWString& text, std::int32_t fieldNumber, WChar delimiter) {
    const WString source(text); // `out` may be the text itself
    out.clear();
    std::size_t begin = 0;
    for (std::int32_t field = 1; field < fieldNumber; ++field) {
        begin = source.find(delimiter, begin);
        if (begin == source.npos)
            return 0;
        ++begin;
    }
    out.assign(source, begin, source.find(delimiter, begin) - begin);
    return lengthOf(out);
}

std::int32_t GetDelimField(char* out, std::int32_t outSize, const char* text, std::int32_t fieldNumber,
                           char delimiter) {
    if (out == nullptr || outSize < 1)
        return 0;
    SWString field;
    if (text != nullptr)
        GetDelimField(field, SWString(text, CODE_MBCS, 0), fieldNumber, static_cast<unsigned char>(delimiter));
    const std::string bytes = field.mb_str(0);
    const std::size_t count = std::min(bytes.size(), static_cast<std::size_t>(outSize - 1));
    std::memcpy(out, bytes.data(), count);
    out[count] = '\0';
    return static_cast<std::int32_t>(count);
}

std::int32_t GetPosField(SWString& out, const SWString& text, std::uint32_t position, std::uint32_t length) {
    if (position == 0 || position > text.size() || length == 0) {
        out.clear();
        return 0;
    }
    out = WString(text, position - 1, length);
    return 1;
}

std::int32_t GetPosField(char* out, const char* text, std::uint32_t position, std::uint32_t length) {
    if (out == nullptr)
        return 0;
    const std::size_t size = text == nullptr ? 0 : std::strlen(text);
    if (position == 0 || position > size || length == 0) {
        *out = '\0';
        return 0;
    }
    const std::size_t count = std::min<std::size_t>(length, size - (position - 1));
    std::memmove(out, text + (position - 1), count);
    out[count] = '\0';
    return 1;
}

std::int32_t RangeStrToIntArr(const SWString& text, std::int32_t* array, std::int32_t maxIndex) {
    if (array == nullptr || maxIndex < 0)
        return 0;
    std::fill_n(array, static_cast<std::size_t>(maxIndex) + 1, 0);
    std::int32_t count = 0;
    const auto set = [&](std::int32_t index) {
        array[index] = 1;
        ++count;
    };
    bool range = false;
    std::int32_t previous = 0;
    std::string digits;
    for (const WChar* at = text.c_str();; ++at) {
        if (WideChar::isAsciiDigit(*at)) {
            digits += static_cast<char>(*at);
            continue;
        }
        if (!digits.empty()) {
            const std::int32_t number = numberOf(digits);
            digits.clear();
            if (number <= maxIndex)
                set(number);
            if (range && previous <= maxIndex)
                for (std::int32_t index = previous, last = std::min(number, maxIndex); index <= last; ++index)
                    set(index);
            previous = number;
            range = false;
        }
        range = range || *at == u'-';
        if (*at == 0)
            return count;
    }
}

void TrimString(char* text) { trimInPlace(text); }

void TrimString(WChar* text) { trimInPlace(text); }

void TrimString(SWString& text) { text.TrimString(); }

SWString Num2Str(std::int32_t value) { return norq_std_internal::numberText(value); }

SWString printErr(std::int32_t code, const SWString& prefix) {
    const bool isShort = static_cast<std::uint32_t>(code) <= 9999;
    SWString text(prefix);
    text += isShort ? StringUtils::format(u"%04d", code) : StringUtils::format(u"%d", code);
    return text;
}

SWString printLastErr() {
    SWString text = norq_std_internal::platform::errorDescription(norq_std_internal::platform::lastError());
    return text.TrimString();
}

SWString BufferDump(const char* bytes, std::int32_t length, std::int32_t base) {
    return dump(bytes, length, base, u"");
}

SWString BufferDump(const WChar* units, std::int32_t length, std::int32_t base) {
    return dump(units, length, base, u"  ");
}

std::int32_t GetOption(std::int32_t argc, const WChar* const* argv, const WChar* optionString, const WChar** value) {
    return nextOption(argc, argv, optionString, *value);
}

std::int32_t GetOption(std::int32_t argc, const char* const* argv, const char* optionString, const char** value) {
    return nextOption(argc, argv, optionString, *value);
}

void SetAppSubDir(const SWString& text) { appSubDir() = text; }

SWString GetAppSubDir() { return appSubDir(); }

} // namespace NorqStd

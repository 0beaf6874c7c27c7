#include "base/StringUtils.h"

#include "base/WideChar.h"
#include "internal/Trim.h"

#include <algorithm>
#include <limits>
#include <locale>
#include <sstream>
#include <string_view>

namespace norq_std {

using norq_std_internal::trimmed;

namespace {

struct SizeUnit {
    std::u16string_view suffix;
    double bytes;
};

constexpr SizeUnit SIZE_UNITS[] = {{u"GB", 1073741824.0}, {u"MB", 1048576.0}, {u"KB", 1024.0}};

/// The number at the start of the text, as a stream extracts it.
bool extract(std::u16string_view text, double& number) {
    std::string narrow;
    std::ranges::transform(text, std::back_inserter(narrow),
                           [](WChar unit) { return unit < 0x80 ? static_cast<char>(unit) : '?'; });
    std::istringstream stream(narrow);
    stream.imbue(std::locale::classic());
    return static_cast<bool>(stream >> number);
}

/// Cut to the largest number above, to the low 32 bits of the 64-bit integer below zero.
std::int32_t cutTo32Bits(double value) {
    if (value > std::numeric_limits<std::int32_t>::max())
        return std::numeric_limits<std::int32_t>::max();
    if (value < static_cast<double>(std::numeric_limits<std::int64_t>::min()))
        return 0;
    return static_cast<std::int32_t>(static_cast<std::int64_t>(value));
}

} // namespace

StringUtils::~StringUtils() = default;

bool StringUtils::hasPrefix(const WString& text, const WString& prefix) { return text.starts_with(prefix); }

WString StringUtils::trimPrefix(const WString& text, const WString& prefix) {
    return hasPrefix(text, prefix) ? text.substr(prefix.size()) : WString();
}

bool StringUtils::isDigits(const WString& text) { return std::ranges::all_of(text, WideChar::isAsciiDigit); }

bool StringUtils::isHexadecimal(const WString& text) { return std::ranges::all_of(text, WideChar::isAsciiHexDigit); }

WString StringUtils::trimString(WString& text) {
    text.resize(norq_std_internal::trimmedRight(text).size());
    return text;
}

WString StringUtils::trim(WString& text) { return text = trimmed(text); }

std::int32_t StringUtils::convertSizeString(const WString& text, std::int32_t defaultValue) {
    WString upper(trimmed(text));
    std::ranges::transform(upper, upper.begin(), WideChar::toUpper);
    std::u16string_view rest = upper;
    if (rest.empty())
        return defaultValue;

    double multiplier = 1;
    for (const SizeUnit& unit : SIZE_UNITS) {
        if (rest.size() > unit.suffix.size() && rest.rfind(unit.suffix) != rest.npos) {
            multiplier = unit.bytes;
            rest.remove_suffix(unit.suffix.size());
            rest = trimmed(rest);
            break;
        }
    }
    double number = 0;
    if (!extract(rest, number))
        number = defaultValue;
    return cutTo32Bits(number * multiplier);
}

std::size_t StringUtils::getNumberOfFields(const WString& text, const WString& delimiters) {
    return 1 + static_cast<std::size_t>(
                   std::ranges::count_if(text, [&](WChar unit) { return delimiters.find(unit) != delimiters.npos; }));
}

WString StringUtils::getDelimField(const WString& text, std::int32_t index, const WString& delimiters,
                                   const WString& defaultValue) {
    std::size_t begin = 0;
    for (auto skip = static_cast<std::uint32_t>(index); skip > 0; --skip) {
        begin = text.find_first_of(delimiters, begin);
        if (begin == text.npos)
            return defaultValue;
        ++begin;
    }
    return text.substr(begin, text.find_first_of(delimiters, begin) - begin);
}

} // namespace norq_std

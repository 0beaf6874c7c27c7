#include "concurrency/TimeUtils.h"

#include "base/LogMacros.h"
#include "base/StringUtils.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Lock.h"
#include "exception/NorqException.h"
#include "internal/NumberText.h"
#include "platform/Faults.h"
#include "platform/LocalTime.h"

#include <chrono>
#include <cuchar>
#include <string>
#include <string_view>

namespace norq_std {

namespace platform = norq_std_internal::platform;

namespace {

constexpr std::size_t ZONE_BUFFER = 256;
constexpr std::size_t FORMAT_BUFFER = 2048;

std::int64_t secondsOf(std::uint64_t ms) { return static_cast<std::int64_t>(ms / 1000); }

/// Text of the C library, in the encoding of its locale; a byte that is no character there stands for itself.
WString widen(std::string_view text) {
    WString wide;
    std::mbstate_t state{};
    while (!text.empty()) {
        char16_t unit = 0;
        const std::size_t used = std::mbrtoc16(&unit, text.data(), text.size(), &state);
        if (used == static_cast<std::size_t>(-3)) {
            wide += unit;
        } else if (used == 0 || used > text.size()) {
            wide += static_cast<unsigned char>(text.front());
            text.remove_prefix(1);
            state = {};
        } else {
            wide += unit;
            text.remove_prefix(used);
        }
    }
    if (char16_t unit = 0;
        std::mbsinit(&state) == 0 && std::mbrtoc16(&unit, "", 0, &state) == static_cast<std::size_t>(-3))
        wide += unit;
    return wide;
}

/// The length of the conversion at the head of `format`, "%" with flags, width, modifier and letter; 0 if there is none
/// that the C library could know.
std::size_t conversionLength(std::u16string_view format) {
    std::size_t end = 1;
    const auto skip = [&](std::u16string_view units) {
        while (end < format.size() && units.find(format[end]) != units.npos)
            ++end;
    };
    skip(u"_-0^#+");
    skip(u"0123456789");
    skip(u"EO");
    const bool known = end < format.size() && format[end] > u' ' && format[end] < 0x7F;
    return known ? end + 1 : 0;
}

/// Appends what one conversion gives. False if that is longer than any result may be.
bool appendConversion(WString& target, std::u16string_view conversion, const std::tm& local) {
    // The mark in front tells an empty result from a full buffer.
    std::string format = "|";
    format.append(conversion.begin(), conversion.end());
    char buffer[4 * FORMAT_BUFFER];
    const std::size_t length = std::strftime(buffer, sizeof buffer, format.c_str(), &local);
    if (length == 0)
        return false;
    target += widen(std::string_view(buffer, length).substr(1));
    return true;
}

/// `wcsftime` for the wide unit: the number of characters, with the terminator, is limited as there. Empty on failure.
WString wideTime(std::u16string_view format, const std::tm& local) {
    WString text;
    while (!format.empty() && text.size() < FORMAT_BUFFER) {
        const std::size_t conversion = format.front() == u'%' ? conversionLength(format) : 0;
        if (conversion == 0) {
            text += format.front();
            format.remove_prefix(1);
            continue;
        }
        if (!appendConversion(text, format.substr(0, conversion), local))
            return {};
        format.remove_prefix(conversion);
    }
    return text.size() < FORMAT_BUFFER ? text : WString();
}

} // namespace

Lock& TimeUtils::lock = *new Lock;

std::uint64_t TimeUtils::getCurrentTimeMs() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::floor<std::chrono::milliseconds>(now).count());
}

int TimeUtils::getCurrentWeekday() { return getWeekdayForTimeMs(getCurrentTimeMs()); }

int TimeUtils::getWeekdayForTimeMs(std::uint64_t ms) {
    std::tm local{};
    platform::localTime(secondsOf(ms), local);
    return local.tm_wday;
}

WString TimeUtils::getCurrentTimestamp() { return getTimestampForTimeMs(getCurrentTimeMs()); }

WString TimeUtils::getTimestampForTimeMs(std::uint64_t ms) {
    std::tm local{};
    if (!platform::localTime(secondsOf(ms), local))
        return WString();
    return StringUtils::format(u"%2.2d-%2.2d-%2.2d %2.2d:%2.2d:%2.2d.%3.3d", local.tm_year + 1900, local.tm_mon + 1,
                               local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, static_cast<int>(ms % 1000));
}

WString TimeUtils::getTimezone() {
    const AutoLock<Lock> guard(lock);
    return widen(platform::zoneName(false)).substr(0, ZONE_BUFFER - 1);
}

WString TimeUtils::getDSTZone() {
    const AutoLock<Lock> guard(lock);
    return widen(platform::zoneName(true)).substr(0, ZONE_BUFFER - 1);
}

WString TimeUtils::formatTime(const WChar* format, std::uint64_t ms) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::TimeUtils::formatTime");
    WString text;
    if (format == nullptr)
        platform::invalidParameter(u"format != nullptr", u"norq_std::TimeUtils::formatTime", u"TimeUtils.cpp",
                                   __LINE__);
    else
        text = format;
    const WString milliseconds = norq_std_internal::numberText(ms % 1000);
    for (std::size_t at = text.find(u"%s"); at != WString::npos; at = text.find(u"%s", at + milliseconds.size()))
        text.replace(at, 2, milliseconds);
    std::tm local{};
    WString result;
    if (platform::localTime(secondsOf(ms), local))
        result = wideTime(text, local);
    if (result.empty())
        throw NorqIllegalArgumentException(u"Unable to format time string, resulting string is too large.");
    return result;
}

} // namespace norq_std

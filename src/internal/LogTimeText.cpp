#include "internal/LogTimeText.h"

#include "platform/LocalTime.h"

#include <charconv>

namespace norq_std_internal {

namespace {

constexpr std::size_t MILLISECONDS = 4; // at the end of the text, with the blank behind them

char digit(int value) { return static_cast<char>('0' + value % 10); }

char* writeField(char* at, int value, char separator) {
    at[0] = digit(value / 10);
    at[1] = digit(value);
    at[2] = separator;
    return at + 3;
}

} // namespace

std::string_view LogTimeText::of(std::int64_t second, int milliseconds) noexcept {
    const std::uint32_t zone = platform::zoneGeneration();
    if (!known || seconds != second || generation != zone) [[unlikely]]
        renew(second, zone);
    if (length == 0) [[unlikely]]
        return {};
    char* const at = text.data() + length - MILLISECONDS;
    at[0] = digit(milliseconds / 100);
    at[1] = digit(milliseconds / 10);
    at[2] = digit(milliseconds);
    return {text.data(), length};
}

void LogTimeText::renew(std::int64_t second, std::uint32_t zone) noexcept {
    known = true;
    seconds = second;
    generation = zone;
    length = 0;
    std::tm local;
    if (!platform::localTime(second, local))
        return;
    char* at = std::to_chars(text.data(), text.data() + longest, std::int64_t{local.tm_year} + 1900).ptr;
    *at++ = '-';
    at = writeField(at, local.tm_mon + 1, '-');
    at = writeField(at, local.tm_mday, ' ');
    at = writeField(at, local.tm_hour, ':');
    at = writeField(at, local.tm_min, ':');
    at = writeField(at, local.tm_sec, ':');
    at[MILLISECONDS - 1] = ' ';
    length = static_cast<std::size_t>(at - text.data()) + MILLISECONDS;
}

} // namespace norq_std_internal

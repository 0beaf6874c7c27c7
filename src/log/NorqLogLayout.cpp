#include "log/NorqLogLayout.h"

#include "log/LogEvent.h"
#include "platform/LocalTime.h"

#include <array>
#include <charconv>

namespace norq_std {
namespace {

constexpr std::size_t FIXED_PIECES = 96; // room for time, priority, thread id, line number and separators

template <class Integer>
void appendNumber(WString& line, Integer value, int base) {
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, base).ptr;
    line.append(digits.data(), end);
}

WChar* writeTwoDigits(WChar* at, int value) {
    at[0] = static_cast<WChar>(u'0' + value / 10);
    at[1] = static_cast<WChar>(u'0' + value % 10);
    return at + 2;
}

WChar* writeField(WChar* at, int value, WChar separator) {
    at = writeTwoDigits(at, value);
    *at = separator;
    return at + 1;
}

} // namespace

NorqLogLayout::NorqLogLayout(bool debugForm)
    : debug(debugForm) {}

NorqLogLayout::~NorqLogLayout() = default;

WString NorqLogLayout::toString() const { return debug ? u"NorqLogLayout{debug=true}" : u"NorqLogLayout{debug=false}"; }

NorqLogLayout* NorqLogLayout::newInstance(const Properties& properties) const {
    const auto found = properties.find(u"debug");
    return new NorqLogLayout(found != properties.end() && found->second == u"true");
}

WString NorqLogLayout::getClassName() const { return u"norq_std.NorqLogLayout"; }

WString NorqLogLayout::format(const LogEvent& event) {
    WString line;
    appendLine(line, event);
    return line;
}

void NorqLogLayout::appendLine(WString& line, const LogEvent& event) const {
    line.reserve(line.size() + FIXED_PIECES + event.errorId.size() + event.fileName.size() +
                 (debug ? event.function.size() : 0) + event.message.size());
    appendTimestamp(line, event);
    appendPriority(line, event);
    appendThreadId(line, event);
    appendErrorId(line, event);
    appendFileName(line, event);
    appendLineNumber(line, event);
    appendFunction(line, event);
    appendMessage(line, event);
}

void NorqLogLayout::appendTimestamp(WString& line, const LogEvent& event) {
    std::tm local;
    if (!norq_std_internal::platform::repeatedLocalTime(event.time.seconds, local))
        return;
    const std::int64_t year = std::int64_t{local.tm_year} + 1900;
    const int milliseconds = event.time.milliseconds;
    std::array<WChar, 24> text;
    WChar* at = text.data();
    if (year >= 1000 && year <= 9999) [[likely]]
        at = writeTwoDigits(writeTwoDigits(at, static_cast<int>(year / 100)), static_cast<int>(year % 100));
    else
        appendNumber(line, year, 10);
    *at++ = u'-';
    at = writeField(at, local.tm_mon + 1, u'-');
    at = writeField(at, local.tm_mday, u' ');
    at = writeField(at, local.tm_hour, u':');
    at = writeField(at, local.tm_min, u':');
    at = writeField(at, local.tm_sec, u':');
    *at++ = static_cast<WChar>(u'0' + milliseconds / 100 % 10);
    at = writeField(at, milliseconds % 100, u' ');
    line.append(text.data(), at);
}

void NorqLogLayout::appendPriority(WString& line, const LogEvent& event) {
    line += logEventPriorityToString(event.priority);
}

void NorqLogLayout::appendThreadId(WString& line, const LogEvent& event) const {
    if (!debug || event.threadId == LogEvent::NO_THREAD)
        return;
    line += u" [0x";
    appendNumber(line, event.threadId, 16);
    line += u']';
}

void NorqLogLayout::appendErrorId(WString& line, const LogEvent& event) {
    if (event.errorId.empty())
        return;
    line += u' ';
    line += event.errorId;
}

void NorqLogLayout::appendFileName(WString& line, const LogEvent& event) {
    if (event.fileName.empty())
        return;
    line += u' ';
    line += event.fileName;
}

void NorqLogLayout::appendLineNumber(WString& line, const LogEvent& event) {
    if (event.fileName.empty() || event.lineNumber == 0)
        return;
    line += u'[';
    appendNumber(line, event.lineNumber, 10);
    line += u']';
}

void NorqLogLayout::appendFunction(WString& line, const LogEvent& event) const {
    if (!debug)
        return;
    line += u' ';
    line += event.function;
    line += u':';
}

void NorqLogLayout::appendMessage(WString& line, const LogEvent& event) {
    line += u' ';
    line += event.message;
    if (!event.message.ends_with(u'\n'))
        line += u'\n';
}

} // namespace norq_std

#include "log/NorqLogLayout.h"

#include "internal/EncodedLine.h"
#include "internal/LogRecord.h"
#include "internal/LogTimeText.h"
#include "log/LogEvent.h"

#include <array>
#include <charconv>

namespace norq_std {

using norq_std_internal::EncodedLine;
using norq_std_internal::LogRecord;
using norq_std_internal::LogTimeText;

namespace {

constexpr std::size_t FIXED_PIECES = 96; // room for time, priority, thread id, line number and separators

template <class Line, class Integer>
void appendNumber(Line& line, Integer value, int base) {
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, base).ptr;
    line.append(static_cast<const char*>(digits.data()), static_cast<const char*>(end));
}

constinit thread_local LogTimeText timeText;

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
    appendRest(line, event);
}

void NorqLogLayout::encode(EncodedLine& line, const LogRecord& record, bool debugForm) {
    static const NorqLogLayout* const forms = new NorqLogLayout[2]{NorqLogLayout(false), NorqLogLayout(true)};
    forms[debugForm ? 1 : 0].appendRest(line, record);
    line.end();
}

template <class Line, class Event>
void NorqLogLayout::appendRest(Line& line, const Event& event) const {
    appendPriority(line, event);
    appendThreadId(line, event);
    appendErrorId(line, event);
    appendFileName(line, event);
    appendLineNumber(line, event);
    appendFunction(line, event);
    appendMessage(line, event);
}

void NorqLogLayout::appendTimestamp(WString& line, const LogEvent& event) {
    const std::string_view text = timeText.of(event.time.seconds, event.time.milliseconds);
    line.append(text.begin(), text.end());
}

template <class Line, class Event>
void NorqLogLayout::appendPriority(Line& line, const Event& event) {
    line += norq_std_internal::priorityText(event.priority);
}

template <class Line, class Event>
void NorqLogLayout::appendThreadId(Line& line, const Event& event) const {
    if (!debug || event.threadId == LogEvent::NO_THREAD)
        return;
    constexpr std::string_view mark = " [0x";
    line.append(mark.data(), mark.data() + mark.size());
    appendNumber(line, event.threadId, 16);
    line += u']';
}

template <class Line, class Event>
void NorqLogLayout::appendErrorId(Line& line, const Event& event) {
    if (event.errorId.empty())
        return;
    line += u' ';
    line += event.errorId;
}

template <class Line, class Event>
void NorqLogLayout::appendFileName(Line& line, const Event& event) {
    if (event.fileName.empty())
        return;
    line += u' ';
    line += event.fileName;
}

template <class Line, class Event>
void NorqLogLayout::appendLineNumber(Line& line, const Event& event) {
    if (event.fileName.empty() || event.lineNumber == 0)
        return;
    line += u'[';
    appendNumber(line, event.lineNumber, 10);
    line += u']';
}

template <class Line, class Event>
void NorqLogLayout::appendFunction(Line& line, const Event& event) const {
    if (!debug)
        return;
    line += u' ';
    line += event.function;
    line += u':';
}

template <class Line, class Event>
void NorqLogLayout::appendMessage(Line& line, const Event& event) {
    line += u' ';
    line += event.message;
    if (!event.message.ends_with(u'\n'))
        line += u'\n';
}

} // namespace norq_std

#include "LineEvent.h"

#include "base/WideChar.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace shipper {
namespace {

using norq_std::WString;

constexpr std::size_t TIME_WITHIN = 40; // units from the beginning of a line in which a time may begin

/// Takes a number of so many digits within a range from the front of the text.
std::optional<int> takeNumber(std::u16string_view& text, std::size_t digits, int lowest, int highest) {
    if (text.size() < digits)
        return std::nullopt;
    int value = 0;
    for (std::size_t i = 0; i < digits; ++i) {
        if (!norq_std::WideChar::isAsciiDigit(text[i]))
            return std::nullopt;
        value = value * 10 + (text[i] - u'0');
    }
    text.remove_prefix(digits);
    return value >= lowest && value <= highest ? std::optional(value) : std::nullopt;
}

bool takeUnit(std::u16string_view& text, char16_t unit) {
    if (!text.starts_with(unit))
        return false;
    text.remove_prefix(1);
    return true;
}

/// Date and time of day are apart by blanks or a "T".
bool takeGap(std::u16string_view& text) {
    if (takeUnit(text, u'T'))
        return true;
    const std::size_t blanks = std::min(text.find_first_not_of(u' '), text.size());
    text.remove_prefix(blanks);
    return blanks > 0;
}

bool readTime(std::u16string_view text, WString& time) {
    const std::u16string_view date = text.substr(0, 10);
    const bool isDate = takeNumber(text, 4, 1970, 9999) && takeUnit(text, u'-') && takeNumber(text, 2, 1, 12) &&
                        takeUnit(text, u'-') && takeNumber(text, 2, 1, 31);
    if (!isDate || !takeGap(text))
        return false;
    const std::u16string_view timeOfDay = text.substr(0, 8);
    const bool isTime = takeNumber(text, 2, 0, 23) && takeUnit(text, u':') && takeNumber(text, 2, 0, 59) &&
                        takeUnit(text, u':') && takeNumber(text, 2, 0, 60);
    if (isTime)
        time.append(date).append(1, u' ').append(timeOfDay);
    return isTime;
}

} // namespace

void findTime(const WString& text, WString& time) {
    time.clear();
    const std::u16string_view view = text;
    const std::u16string_view searched = view.substr(0, TIME_WITHIN + 4);
    for (std::size_t dash = searched.find(u'-'); dash != searched.npos; dash = searched.find(u'-', dash + 1))
        if (dash >= 4 && readTime(view.substr(dash - 4), time))
            return;
}

LineEventMaker::LineEventMaker()
    : source(std::make_shared<norq_std::JsonString>())
    , text(std::make_shared<norq_std::JsonString>())
    , time(std::make_shared<norq_std::JsonString>())
    , line(std::make_shared<norq_std::JsonNumber>()) {
    usual.put(u"source", source);
    usual.put(u"line", line);
    usual.put(u"text", text);
    usual.put(u"time", time);
}

void LineEventMaker::setUsual(const LinePosition& position, const WString& lineText) {
    if (position.source != usualSource) {
        usualSource = position.source;
        source->str(*usualSource);
    }
    line->value(static_cast<double>(position.line));
    text->str(lineText);
    time->str(lineTime);
}

WString LineEventMaker::make(const LinePosition& position, const DecodedLine& decoded) {
    findTime(decoded.text, lineTime);
    if (!lineTime.empty() && !decoded.otherEncoding && decoded.nulBytes == 0 && position.part == 0) {
        setUsual(position, decoded.text);
        return usual.toJsonString();
    }

    norq_std::JsonObject event;
    event.putString(u"source", *position.source);
    event.putLongLong(u"line", static_cast<std::int64_t>(position.line));
    event.putString(u"text", decoded.text);
    if (!lineTime.empty())
        event.putString(u"time", lineTime);
    if (decoded.otherEncoding)
        event.putString(u"encoding", u"windows-1252");
    if (decoded.nulBytes > 0)
        event.putLongLong(u"nulBytes", decoded.nulBytes);
    if (position.part > 0)
        event.putLongLong(u"part", position.part);
    return event.toJsonString();
}

} // namespace shipper

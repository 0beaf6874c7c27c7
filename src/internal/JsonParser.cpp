#include "internal/JsonParser.h"

#include "base/JsonLiteral.h"
#include "base/JsonNumber.h"
#include "base/JsonString.h"
#include "base/JsonUtil.h"
#include "base/StringUtils.h"
#include "base/WideChar.h"
#include "exception/NorqException.h"
#include "internal/JsonNumberText.h"
#include "internal/JsonText.h"

#include <iterator>
#include <string_view>
#include <utility>

namespace norq_std_internal {

using norq_std::JsonArray;
using norq_std::JsonLiteral;
using norq_std::JsonNumber;
using norq_std::JsonObject;
using norq_std::JsonString;
using norq_std::JsonUtil;
using norq_std::NorqIllegalArgumentException;
using norq_std::StringUtils;
using norq_std::WString;

JsonParser::JsonParser(const WString& source)
    : text(source)
    , position(source.data())
    , end(position + source.size()) {}

std::shared_ptr<norq_std::JsonAware> JsonParser::parse() {
    for (;;) {
        Value value;
        if (!beginValue(value))
            continue;
        do
            if (levels.empty())
                return value;
        while (endValue(value));
    }
}

bool JsonParser::beginValue(Value& value) {
    skipSpace();
    if (position == end)
        return true;
    switch (*position) {
    case u'"':
        value = std::make_shared<JsonString>(readString());
        return true;
    case u'[':
        return beginArray(value);
    case u'{':
        return beginObject(value);
    default:
        value = *position == u'-' || norq_std::WideChar::isDigit(*position) ? readNumber() : readLiteral();
        return true;
    }
}

bool JsonParser::endValue(Value& value) {
    return levels.back().object == nullptr ? endElement(value) : endEntry(value);
}

bool JsonParser::beginArray(Value& value) {
    checkDepth();
    ++position;
    if (checkedUnit() == u']') {
        ++position;
        value = std::make_shared<JsonArray>();
        return true;
    }
    levels.push_back({nullptr, {}, elements.size()});
    return false;
}

bool JsonParser::endElement(Value& value) {
    elements.push_back(std::move(value));
    skipSpaceToUnit();
    if (*position != u']') {
        if (*position != u',')
            throw NorqIllegalArgumentException(u"',' or ']' expected");
        ++position;
        if (checkedUnit() != u']')
            return false;
    }
    ++position;
    const auto first = elements.begin() + static_cast<std::ptrdiff_t>(levels.back().firstElement);
    auto array = std::make_shared<JsonArray>();
    array->reserve(static_cast<std::size_t>(elements.end() - first));
    for (auto element = first; element != elements.end(); ++element)
        array->add(std::move(*element));
    elements.erase(first, elements.end());
    levels.pop_back();
    value = std::move(array);
    return true;
}

bool JsonParser::beginObject(Value& value) {
    checkDepth();
    ++position;
    if (checkedUnit() == u'}') {
        ++position;
        value = std::make_shared<JsonObject>();
        return true;
    }
    levels.push_back({std::make_shared<JsonObject>(), {}, 0});
    readKey();
    return false;
}

void JsonParser::readKey() {
    skipSpaceToUnit();
    if (*position != u'"')
        throw NorqIllegalArgumentException(u"Expected '\"'");
    levels.back().key = readString();
    skipSpaceToUnit();
    if (*position != u':')
        throw NorqIllegalArgumentException(u"Expected ':'");
    ++position;
}

bool JsonParser::endEntry(Value& value) {
    Level& level = levels.back();
    level.object->put(std::move(level.key), std::move(value));
    skipSpaceToUnit();
    if (*position == u',') {
        ++position;
        checkedUnit();
        readKey();
        return false;
    }
    if (*position != u'}')
        throw NorqIllegalArgumentException(u"',' or '}' expected");
    ++position;
    value = std::move(level.object);
    levels.pop_back();
    return true;
}

WString JsonParser::readString() {
    const WChar* const first = ++position;
    bool escaped = false;
    for (;;) {
        position = findQuoteOrBackslash(position, end);
        if (position == end || *position == u'"')
            break;
        escaped = true;
        position += end - position > 1 ? 2 : 1;
    }
    const WChar* const last = position;
    if (position != end)
        ++position;
    return escaped ? unescapeJson(first, last) : WString(first, last);
}

JsonParser::Value JsonParser::readNumber() {
    const auto belongs = [](WChar unit) {
        return norq_std::WideChar::isDigit(unit) || unit == u'.' || unit == u'-' || unit == u'+' || unit == u'e' ||
               unit == u'E';
    };
    const WChar* const first = position;
    while (position != end && belongs(*position))
        ++position;
    return std::make_shared<JsonNumber>(readJsonNumber(first, position));
}

JsonParser::Value JsonParser::readLiteral() {
    const WChar* const first = position;
    while (position != end && norq_std::WideChar::isAlpha(*position))
        ++position;
    const std::u16string_view word(first, static_cast<std::size_t>(position - first));
    if (word == u"true")
        return JsonLiteral::True;
    if (word == u"false")
        return JsonLiteral::False;
    if (word == u"null")
        return JsonLiteral::Null;
    throw NorqIllegalArgumentException(u"Unknown literal specified");
}

void JsonParser::skipSpace() {
    while (position != end && norq_std::WideChar::isSpace(*position))
        ++position;
}

void JsonParser::skipSpaceToUnit() {
    skipSpace();
    if (position == end)
        throw NorqIllegalArgumentException(StringUtils::format(u"Expected value. Pos: %zu", text.size()));
}

JsonParser::WChar JsonParser::checkedUnit() const { return text.at(static_cast<std::size_t>(position - text.data())); }

void JsonParser::checkDepth() const {
    if (levels.size() == JsonUtil::maximumDepth)
        throw NorqIllegalArgumentException(
            StringUtils::format(u"Nested deeper than %zu levels", JsonUtil::maximumDepth));
}

} // namespace norq_std_internal

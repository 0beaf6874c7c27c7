#include "internal/JsonParser.h"

#include "base/JsonLiteral.h"
#include "base/JsonNumber.h"
#include "base/JsonString.h"
#include "base/JsonUtil.h"
#include "base/StringUtils.h"
#include "exception/NorqException.h"
#include "internal/JsonNumberText.h"
#include "internal/JsonScan.h"
#include "internal/JsonText.h"

#include <algorithm>
#include <iterator>
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
using norq_std::WideChar;
using norq_std::WString;

namespace {

// A value takes about as many bytes in memory as in a text of UTF-16.
constexpr std::size_t leastBlock = 64;

std::size_t firstBlock(const WString& text) { return std::clamp(2 * text.size(), leastBlock, JsonValueBlock::size); }

bool belongsToNumber(norq_std::WChar unit) {
    return WideChar::isDigit(unit) || unit == u'.' || unit == u'-' || unit == u'+' || unit == u'e' || unit == u'E';
}

} // namespace

JsonParser::JsonParser(const WString& source)
    : text(source)
    , position(source.data())
    , end(position + source.size())
    , maker(firstBlock(source)) {}

std::shared_ptr<norq_std::JsonAware> JsonParser::parse() {
    for (;;) {
        if (!readValue())
            continue;
        do
            if (levels.empty())
                return std::move(root);
        while (levels.back().isObject ? endEntry() : endElement());
    }
}

bool JsonParser::readValue() {
    skipSpace();
    if (position == end)
        return true; // and the slot keeps its null pointer
    switch (*position) {
    case u'"':
        readString();
        return true;
    case u'[':
        return openArray();
    case u'{':
        return openObject();
    default:
        if (*position == u'-' || WideChar::isDigit(*position))
            readNumber();
        else
            readLiteral();
        return true;
    }
}

bool JsonParser::openArray() {
    checkDepth();
    ++position;
    if (checkedUnit() == u']') {
        ++position;
        slot() = maker.make<JsonArray>();
        return true;
    }
    levels.push_back({false, elements.size()});
    elements.emplace_back();
    return false;
}

bool JsonParser::openObject() {
    checkDepth();
    ++position;
    if (checkedUnit() == u'}') {
        ++position;
        slot() = maker.make<JsonObject>();
        return true;
    }
    levels.push_back({true, entries.size()});
    beginEntry();
    return false;
}

bool JsonParser::endElement() {
    skipSpaceToUnit();
    if (*position != u']') {
        if (*position != u',')
            throw NorqIllegalArgumentException(u"',' or ']' expected");
        ++position;
        if (checkedUnit() != u']') {
            elements.emplace_back();
            return false;
        }
    }
    ++position;
    closeArray();
    return true;
}

bool JsonParser::endEntry() {
    skipSpaceToUnit();
    if (*position == u',') {
        ++position;
        checkedUnit();
        beginEntry();
        return false;
    }
    if (*position != u'}')
        throw NorqIllegalArgumentException(u"',' or '}' expected");
    ++position;
    closeObject();
    return true;
}

void JsonParser::closeArray() {
    const auto first = elements.begin() + static_cast<std::ptrdiff_t>(levels.back().first);
    auto array = maker.make<JsonArray>(
        JsonArray::Values(std::make_move_iterator(first), std::make_move_iterator(elements.end())));
    elements.erase(first, elements.end());
    levels.pop_back();
    slot() = std::move(array);
}

void JsonParser::closeObject() {
    const auto first = entries.begin() + static_cast<std::ptrdiff_t>(levels.back().first);
    auto object = maker.make<JsonObject>();
    object->reserve(static_cast<std::size_t>(entries.end() - first));
    for (auto entry = first; entry != entries.end(); ++entry)
        object->put(std::move(entry->key), std::move(entry->value));
    entries.erase(first, entries.end());
    levels.pop_back();
    slot() = std::move(object);
}

void JsonParser::beginEntry() {
    skipSpaceToUnit();
    if (*position != u'"')
        throw NorqIllegalArgumentException(u"Expected '\"'");
    Entry& entry = entries.emplace_back();
    bool escaped;
    const std::u16string_view key = scanString(escaped);
    if (escaped)
        entry.key = unescapeJson(key);
    else
        entry.key.assign(key);
    skipSpaceToUnit();
    if (*position != u':')
        throw NorqIllegalArgumentException(u"Expected ':'");
    ++position;
}

void JsonParser::readString() {
    bool escaped;
    const std::u16string_view value = scanString(escaped);
    if (escaped)
        slot() = maker.make<JsonString>(unescapeJson(value));
    else
        slot() = maker.make<JsonString>(value);
}

std::u16string_view JsonParser::scanString(bool& escaped) {
    const WChar* const first = ++position;
    escaped = false;
    for (;;) {
        position = findQuoteOrBackslash(position, end);
        if (position == end || *position == u'"')
            break;
        escaped = true;
        position += end - position > 1 ? 2 : 1;
    }
    const std::u16string_view scanned(first, static_cast<std::size_t>(position - first));
    if (position != end)
        ++position;
    return scanned;
}

void JsonParser::readNumber() {
    double number;
    const WChar* behind = readShortJsonNumber(position, end, number);
    if (behind == nullptr || (behind != end && belongsToNumber(*behind))) {
        behind = std::find_if_not(position, end, belongsToNumber);
        number = readJsonNumber(position, behind);
    }
    position = behind;
    slot() = maker.make<JsonNumber>(number);
}

void JsonParser::readLiteral() {
    const WChar* const first = position;
    while (position != end && WideChar::isAlpha(*position))
        ++position;
    const std::u16string_view word(first, static_cast<std::size_t>(position - first));
    if (word == u"true")
        slot() = JsonLiteral::True;
    else if (word == u"false")
        slot() = JsonLiteral::False;
    else if (word == u"null")
        slot() = JsonLiteral::Null;
    else
        throw NorqIllegalArgumentException(u"Unknown literal specified");
}

void JsonParser::failAtEnd() const {
    throw NorqIllegalArgumentException(StringUtils::format(u"Expected value. Pos: %zu", text.size()));
}

void JsonParser::checkDepth() const {
    if (levels.size() == JsonUtil::maximumDepth)
        throw NorqIllegalArgumentException(
            StringUtils::format(u"Nested deeper than %zu levels", JsonUtil::maximumDepth));
}

} // namespace norq_std_internal

#include "base/JsonString.h"

#include "exception/NorqException.h"
#include "internal/JsonOutput.h"
#include "internal/JsonText.h"

#include <utility>

namespace norq_std {

namespace {

const WChar* checkedText(const WChar* value) {
    if (value == nullptr)
        throw NorqIllegalArgumentException(u"JSON string cannot be null!");
    return value;
}

} // namespace

JsonString::JsonString(const WString& value)
    : text(value) {}

JsonString::JsonString(WString&& value) noexcept
    : text(std::move(value)) {}

JsonString::JsonString(std::u16string_view value)
    : text(value) {}

JsonString::JsonString(const WChar* value)
    : text(checkedText(value)) {}

JsonString::~JsonString() = default;

WString JsonString::toJsonString() const {
    WString json;
    json.reserve(text.size() + 2);
    norq_std_internal::JsonOutput out(json);
    out.appendString(text);
    out.flush();
    return json;
}

WString JsonString::escape(const WString& text) {
    WString escaped;
    escaped.reserve(text.size());
    norq_std_internal::JsonOutput out(escaped);
    out.appendEscaped(text);
    out.flush();
    return escaped;
}

WString JsonString::unescape(const WString& text) { return norq_std_internal::unescapeJson(text); }

} // namespace norq_std

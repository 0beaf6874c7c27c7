#include "base/JsonNumber.h"

#include "internal/JsonNumberText.h"

namespace norq_std {

JsonNumber::~JsonNumber() = default;

WString JsonNumber::toJsonString() const { return toString(number); }

double JsonNumber::fromString(const WString& text) {
    return norq_std_internal::readJsonNumber(text.data(), text.data() + text.size());
}

WString JsonNumber::toString(double number) {
    char narrow[norq_std_internal::jsonNumberSize];
    return WString(narrow, narrow + norq_std_internal::writeJsonNumber(number, narrow));
}

} // namespace norq_std

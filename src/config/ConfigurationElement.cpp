#include "config/ConfigurationElement.h"

#include "base/ErrorUtils.h"
#include "internal/Trim.h"

namespace norq_std {

using norq_std_internal::trimmed;
using norq_std_internal::trimmedRight;

ConfigurationElement::ConfigurationElement() = default;

ConfigurationElement::ConfigurationElement(const WString& commentText)
    : comment(commentText) {}

ConfigurationElement::ConfigurationElement(const WString& newKey, const WString& newValue)
    : key(trimmed(newKey))
    , value(trimmedRight(newValue)) {
    ErrorUtils::isEmptyEx(key, u"norq_std::ConfigurationElement::ConfigurationElement", u"key");
}

ConfigurationElement::~ConfigurationElement() = default;

WString ConfigurationElement::toString() const {
    return u"ConfigurationElement{key='" + key + u"',value='" + value + u"',comment='" + comment + u"'}";
}

void ConfigurationElement::setKey(const WString& newKey) { key = WString(trimmed(newKey)); }

void ConfigurationElement::setValue(const WString& newValue) { value = WString(trimmedRight(newValue)); }

} // namespace norq_std

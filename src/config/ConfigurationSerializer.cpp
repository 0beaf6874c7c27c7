#include "config/ConfigurationSerializer.h"

#include "base/EncodingUtils.h"
#include "exception/NorqException.h"

namespace norq_std {

namespace {

const WString& checked(const WString& charset) {
    if (!EncodingUtils::isValidCharacterSet(charset))
        throw NorqIllegalArgumentException(u"Charset " + charset + u" is invalid.");
    return charset;
}

} // namespace

// Never destroyed, as the default serializer that uses it.
const WString& ConfigurationSerializer::defaultCharset = *new WString(u"windows-1252");

ConfigurationSerializer::ConfigurationSerializer(const WString& newCharset)
    : charset(checked(newCharset)) {}

ConfigurationSerializer::ConfigurationSerializer(const ConfigurationSerializer& other)
    : Object(other)
    , charset(other.charset)
    , lineSeparator(other.ConfigurationSerializer::getLineSeparator()) {}

ConfigurationSerializer& ConfigurationSerializer::operator=(const ConfigurationSerializer& other) {
    charset = other.charset;
    ConfigurationSerializer::setLineSeparator(other.ConfigurationSerializer::getLineSeparator());
    return *this;
}

ConfigurationSerializer::~ConfigurationSerializer() = default;

WString ConfigurationSerializer::toString() const { return u"ConfigurationSerializer{charset='" + charset + u"'}"; }

WString ConfigurationSerializer::getLineSeparator() const {
    const std::lock_guard guard(separatorMutex);
    return lineSeparator;
}

void ConfigurationSerializer::setLineSeparator(const WString& separator) {
    const std::lock_guard guard(separatorMutex);
    lineSeparator = separator;
}

void ConfigurationSerializer::setCharset(const WString& newCharset) { charset = checked(newCharset); }

} // namespace norq_std

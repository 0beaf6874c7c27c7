#include "config/ConfigurationChangeEvent.h"

#include "exception/NorqException.h"

#include <iterator>

namespace norq_std {

namespace {

constexpr const WChar* TYPE_NAMES[] = {u"Added", u"Removed", u"Changed"};

} // namespace

ConfigurationChangeEvent::ConfigurationChangeEvent(const File& file, ChangeType type, const WString& sectionName,
                                                   const WString& keyText, const WString& valueText)
    : path(file)
    , eventType(type)
    , section(sectionName)
    , key(keyText)
    , value(valueText) {
    if (type >= std::size(TYPE_NAMES))
        throw NorqIllegalArgumentException(u"Invalid value for configuration change type enumeration.");
}

ConfigurationChangeEvent::~ConfigurationChangeEvent() = default;

WString ConfigurationChangeEvent::toString() const {
    return u"ConfigurationChangeEvent{path='" + path.getPath() + u"',event='" + TYPE_NAMES[eventType] + u"',section='" +
           section + u"',key='" + key + u"',value='" + value + u"'}";
}

} // namespace norq_std

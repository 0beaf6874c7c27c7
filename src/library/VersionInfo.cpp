#include "library/VersionInfo.h"

#include "exception/NorqException.h"

namespace norq_std {

VersionInfo::VersionInfo(const WString& name)
    : moduleName(name) {}

VersionInfo::~VersionInfo() = default;

std::set<WString> VersionInfo::getKeys() const {
    std::set<WString> keys;
    for (const auto& [key, value] : values)
        keys.insert(keys.end(), key);
    return keys;
}

WString VersionInfo::getValue(const WString& key) const {
    if (key.empty())
        throw NorqIllegalArgumentException(u"Key name is empty");
    const auto found = values.find(key);
    if (found == values.end())
        throw NorqIllegalArgumentException(u"Key not found");
    return found->second;
}

void VersionInfo::setValue(const WString& key, const WString& value) {
    if (key.empty())
        throw NorqIllegalArgumentException(u"Key name is empty");
    values.insert_or_assign(key, value);
}

} // namespace norq_std

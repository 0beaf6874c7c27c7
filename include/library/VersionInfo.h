#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <map>
#include <set>

namespace norq_std {

/// What a named module says of itself, as keys and values. A value class without a lock.
class NORQSTD_EXPORT VersionInfo {
public:
    VersionInfo() = default;
    explicit VersionInfo(const WString& moduleName);
    VersionInfo(const VersionInfo& other) = default;
    VersionInfo& operator=(const VersionInfo& other) = default;
    virtual ~VersionInfo();

    WString getModuleName() const { return moduleName; }
    std::set<WString> getKeys() const;

    /// Throws `NorqIllegalArgumentException` for an empty key and for one that is not there.
    WString getValue(const WString& key) const;
    /// Adds or replaces. Throws `NorqIllegalArgumentException` for an empty key.
    void setValue(const WString& key, const WString& value);

private:
    WString moduleName;
    std::map<WString, WString> values;
};

} // namespace norq_std

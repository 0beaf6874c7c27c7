#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstdint>
#include <memory>

namespace norq_std {

class Preferences;

/// Preferences by the short keys under which `Paths` holds their paths. No state; any thread may call.
class NORQSTD_EXPORT PreferencesUtils {
public:
    /// The node at the path that `Paths` has for the key, in the system's tree or the user's. Throws
    /// `NorqIllegalArgumentException` if there is no such path.
    static std::shared_ptr<Preferences> getNode(const WString& pathKey, bool isSystem);

    // As `Preferences::get` and `getInt` of that node, for a key that must not be empty. If the node is removed
    // meanwhile, the default.

    static WString getString(const WString& pathKey, const WString& key, const WString& defaultValue, bool isSystem);
    static std::int32_t getInt(const WString& pathKey, const WString& key, std::int32_t defaultValue, bool isSystem);

private:
    PreferencesUtils() = default;
};

} // namespace norq_std

#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <map>
#include <vector>

namespace norq_std {

class File;

/// Settings in simpler shapes than a configuration. No state; any thread may call.
class NORQSTD_EXPORT ConfigUtils {
public:
    /// The lines of the sections with this name, trimmed, comments and blank lines included; the name is compared
    /// exactly with what stands between the brackets. Empty if the file cannot be read. The file is taken as
    /// windows-1252.
    static std::vector<WString> getConfigStringList(const File& file, const WString& section);

    /// The entries whose keys begin with the prefix, without it; a key that is the prefix itself is left out.
    static std::map<WString, WString> getTrimmedPrefixSubset(const std::map<WString, WString>& map,
                                                             const WString& prefix);

private:
    ConfigUtils() = default;
};

} // namespace norq_std

#pragma once

#include "base/WString.h"

#include <vector>

namespace norq_std_internal::platform {

struct LoadedModule {
    norq_std::WString name; ///< of the file
    norq_std::WString path;
};

/// The program and the shared libraries that the process has loaded now, in the order of loading.
std::vector<LoadedModule> loadedModules();

} // namespace norq_std_internal::platform

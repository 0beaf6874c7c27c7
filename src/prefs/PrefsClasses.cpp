#include "internal/LibraryLoad.h"

#include "prefs/FilePreferencesFactory.h"
#include "prefs/RegistryPreferencesFactory.h"

namespace norq_std_internal {

void registerPrefsClasses() {
    norq_std::RegistryPreferencesFactory::registerClass();
    norq_std::FilePreferencesFactory::registerClass();
}

} // namespace norq_std_internal

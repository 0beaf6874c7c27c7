#include "internal/LibraryLoad.h"

#include "prefs/FilePreferencesFactory.h"
#include "prefs/RegistryPreferencesFactory.h"

namespace norq_std_internal {

void registerRegistryPrefsClass() { norq_std::RegistryPreferencesFactory::registerClass(); }

void registerFilePrefsClass() { norq_std::FilePreferencesFactory::registerClass(); }

} // namespace norq_std_internal

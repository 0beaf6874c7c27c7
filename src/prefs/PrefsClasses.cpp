#include "internal/LibraryLoad.h"

#include "prefs/FilePreferencesFactory.h"

namespace norq_std_internal {

void registerPrefsClasses() { norq_std::FilePreferencesFactory::registerClass(); }

} // namespace norq_std_internal

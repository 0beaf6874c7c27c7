#include "internal/LibraryLoad.h"

namespace norq_std_internal {

void registerPrefsClasses() {}

} // namespace norq_std_internal

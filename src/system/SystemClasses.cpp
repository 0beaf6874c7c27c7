#include "internal/LibraryLoad.h"

#include "system/Paths.h"

namespace norq_std_internal {

void registerSystemClasses() { norq_std::Paths::registerClass(); }

} // namespace norq_std_internal

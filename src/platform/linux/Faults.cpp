#include "platform/Faults.h"

namespace norq_std_internal::platform {

bool serveFaultsOfThisThread(FaultTranslator) { return true; }

} // namespace norq_std_internal::platform

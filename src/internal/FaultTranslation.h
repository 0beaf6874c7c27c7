#pragma once

#include "base/Export.h"
#include "base/WString.h"
#include "platform/Faults.h"

namespace norq_std_internal {

/// Serves the calling thread's processor faults, and the process's violated parameters, as exceptions of the family.
void installFaultTranslation();

/// Throws the record, with its chain as nested exceptions: an access fault as `NorqAccessException`, any other as
/// `NorqRuntimeException`, with the code as error number.
[[noreturn]] NORQSTD_EXPORT void throwFault(const platform::FaultRecord& record);

/// Throws a violated parameter as `NorqIllegalArgumentException`; null texts are shown as "NULL".
[[noreturn]] NORQSTD_EXPORT void throwInvalidParameter(const norq_std::WChar* expression,
                                                       const norq_std::WChar* function, const norq_std::WChar* file,
                                                       std::uint32_t line);

} // namespace norq_std_internal

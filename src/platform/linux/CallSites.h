#pragma once

#include <cstddef>

namespace norq_std_internal::platform {

/// Whether a place, as an offset into its function, lies before the first call site of the function's exception table
/// (the language-specific data of the C++ personality). False without a table, and for a table of a form that the
/// compiler does not write. Safe in a signal handler.
bool liesBeforeCallSites(const void* table, std::size_t offset);

} // namespace norq_std_internal::platform

#pragma once

#include "base/Export.h"

#include <cstdint>
#include <string_view>

namespace norq_std_internal::platform {

/// The number under which the system's tools show the calling thread.
std::uint64_t currentThreadNumber() noexcept;

/// Gives the calling thread the name that the system's tools show: as many whole characters as fit into 15 bytes of
/// UTF-8. Lone surrogates become U+FFFD; a NUL ends the name. A name that the system refuses is left out.
NORQSTD_EXPORT void nameCurrentThread(std::u16string_view name) noexcept;

} // namespace norq_std_internal::platform

#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstdint>

namespace norq_std_internal::platform {

// Sessions of users on this machine, as the system's login manager (logind) knows them. Session "5" has the number 5,
// "c2" the number 0x80000002. A call that answers false has failed and leaves the last error.

/// The name of the session's user; also of a session that has just ended, while its end is being told.
NORQSTD_EXPORT bool sessionUser(std::uint32_t session, norq_std::WString& user);

/// What the user's name is unique in: the domain that the name itself tells ("domain\user"), else the host's name.
NORQSTD_EXPORT bool sessionDomain(std::uint32_t session, norq_std::WString& domain);

} // namespace norq_std_internal::platform

#pragma once

#include "base/Export.h"
#include "base/WString.h"

namespace norq_std_internal::platform {

// The list of installed services: unit files in one directory. That is the one named by NORQSTD_UNIT_DIRECTORY; without
// it the system's for root, and the user's for everybody else.
//
// A call that answers false has failed, leaves the last error, and has changed nothing.

struct ServiceInstallation {
    norq_std::WString name; ///< also the name that is shown
    /// What must run before, each with a zero unit behind it: a service, a target with `+` in front, or a unit with its
    /// suffix, written as the manager knows it, without white space.
    norq_std::WString dependencies;
};

NORQSTD_EXPORT bool isServiceInstalled(const norq_std::WString& name);

/// Writes a unit that starts the running program, without arguments, with the machine or the user's manager. Fails with
/// ServiceExists if there is a unit of the name, and with InvalidName if that or a dependency cannot be one.
NORQSTD_EXPORT bool installService(const ServiceInstallation& service);

/// Removes the unit, and every link that enables it. A link that the system does not give up is no failure: without the
/// unit it starts nothing.
NORQSTD_EXPORT bool removeService(const norq_std::WString& name);

} // namespace norq_std_internal::platform

#pragma once

#include "base/Export.h"

#include <string>
#include <string_view>

namespace norq_std_internal::platform {

/// The value of a variable of the environment; false if it is not set.
bool environmentVariable(std::u16string_view name, std::u16string& value);

/// Takes "name=value", sets the variable, or removes it where the value is empty. False, with the last error set, if
/// there is no name or the system refuses. Calls of these two exclude each other.
bool putEnvironment(std::u16string_view assignment);

/// The home directory of the user as a path of the family ("C:\home\x"); empty if none is known.
std::u16string homeDirectory();

/// The host's name in the encoding of the system; empty if it does not tell.
std::string hostName();

/// The DNS domain of the host as it is configured, empty if it has none. False, with the last error set, if the system
/// does not tell.
bool dnsDomain(std::string& domain);

/// The domain of `host` in a text in the format of the hosts file: behind the first dot of the canonical name of the
/// first line that lists the host under a name with a dot. Empty if there is none.
NORQSTD_EXPORT std::string domainInHosts(std::string_view hosts, std::string_view host);

/// What a distribution calls itself, from a text in the format of os-release: its pretty name, else name and version.
NORQSTD_EXPORT std::string distributionName(std::string_view osRelease);

/// Distribution and kernel, in UTF-8.
std::string operatingSystemName();

} // namespace norq_std_internal::platform

#pragma once

#include <string>

namespace shipper {

/// Starts the log of the process as the settings file says in its sections "Debug Log" and "Log Appenders". Log files
/// that are named without a folder lie in the service's log folder, if systemd gives one, else in the folder `log`
/// beside the settings: not in their own folder, since each line would wake the thread that follows the settings.
///
/// A file without these sections, or one whose name does not end in ".cfg", makes no log.
void startLog(const std::string& settingsFile);

} // namespace shipper

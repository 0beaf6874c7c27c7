#pragma once

#include "base/Export.h"

namespace norq_std_internal {

/// What happens when the library is loaded into a process and when it goes. Threads may still run at its end, so
/// nothing that they use is destroyed then.
class NORQSTD_EXPORT LibraryLoad {
public:
    static void attach();
    static void detach();
};

// Classes that are made by name register themselves through these, which stand in the folders of the classes, so that
// the base knows nothing of them.

/// Makes the lock of the configured log.
void initLogLocks();
/// Filters, layouts and appenders.
void registerLogClasses();
/// Takes the configured log away; its appenders stay.
void destroyLog();
/// Paths.
void registerSystemClasses();
/// Factories of preferences, the registry's before the paths and that of files behind them.
void registerRegistryPrefsClass();
void registerFilePrefsClass();
/// Start and end the XML parser, which is not ended under a thread that reads.
void startXml();
void endXml();
/// Lets the threads go that wait for what Java is to be told, if there ever was anything to wait at.
void shutdownJniCallbacks();

} // namespace norq_std_internal

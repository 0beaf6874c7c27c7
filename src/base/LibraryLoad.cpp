#include "internal/LibraryLoad.h"

#include "pattern/SingletonManager.h"

namespace norq_std_internal {

using norq_std::SingletonManager;

void LibraryLoad::attach() {
    SingletonManager::initLocks();
    initLogLocks();
    registerRegistryPrefsClass();
    registerSystemClasses();
    registerFilePrefsClass();
    registerLogClasses();
    startXml();
}

void LibraryLoad::detach() {
    endXml();
    shutdownJniCallbacks();
    destroyLog();
    SingletonManager::destroyLocks();
    SingletonManager::destroyInstance();
}

namespace {

__attribute__((constructor)) void onLoad() { LibraryLoad::attach(); }

__attribute__((destructor)) void onUnload() { LibraryLoad::detach(); }

} // namespace
} // namespace norq_std_internal

#pragma once

#include "base/Export.h"
#include "base/WString.h"

namespace norq_std_internal {
class LibraryLoad;
}

namespace norq_std {

/// The object that stands for the library's singletons as a whole, from load to unload.
class NORQSTD_EXPORT SingletonManager {
public:
    /// Makes the object at the first call. Throws `NorqIllegalStateException` once the library has been unloaded, and
    /// if the object cannot be made. Any thread may call it.
    static SingletonManager& getInstance();

    SingletonManager(const SingletonManager&) = delete;
    SingletonManager& operator=(const SingletonManager&) = delete;

private:
    friend class norq_std_internal::LibraryLoad;

    SingletonManager() = default;
    ~SingletonManager() = default;

    static void initLocks();
    static void destroyLocks();
    static void initInstance();
    static void destroyInstance();
};

} // namespace norq_std

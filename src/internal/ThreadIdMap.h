#pragma once

#include "base/Export.h"

#include <cstdint>
#include <map>
#include <mutex>

#include <pthread.h>

namespace norq_std_internal {

/// The id of a thread that is not known.
inline constexpr std::uint64_t NoThreadId = 0xFFFFFFFF;

/// The calling thread's numeric id: the kernel's thread id. Cheap after the first call of a thread; never throws.
NORQSTD_EXPORT std::uint64_t currentThreadId() noexcept;

/// Numeric ids by thread handle, for the whole process.
///
/// A thread is entered when it first asks for its own id, and a thread of this library is removed at its end; others
/// stay until the map is cleared. A thread finds its own id without the map. In a forked child the map begins empty,
/// since its threads are gone and the one that is left has a new number. The map's mutex is taken last.
class NORQSTD_EXPORT ThreadIdMap {
public:
    /// Made at the first use and never destroyed.
    static ThreadIdMap& getInstance();

    /// The id of a thread, `NoThreadId` for a thread that has not asked for its own.
    std::uint64_t getId(pthread_t thread);
    /// Enters the calling thread, whatever stands under its handle, and gives its id.
    std::uint64_t enterCurrentThread();
    void removeCurrentThread();
    void clear();

private:
    ThreadIdMap();
    ThreadIdMap(const ThreadIdMap&) = delete;
    ThreadIdMap& operator=(const ThreadIdMap&) = delete;

    std::mutex mutex;
    std::map<pthread_t, std::uint64_t> ids;
};

} // namespace norq_std_internal

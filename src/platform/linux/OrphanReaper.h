#pragma once

#include "platform/linux/Descriptor.h"

#include <cstddef>
#include <mutex>
#include <vector>

namespace norq_std_internal::platform {

/// Reaps children that nobody waits for any more, each by its pidfd. Its thread lives while there are any. A forked
/// copy of the process begins with none.
class OrphanReaper {
public:
    static OrphanReaper& instance();

    /// Takes over a child. Where the system has no thread or descriptor left, the child stays until the next comes.
    void adopt(Descriptor child) noexcept;

private:
    OrphanReaper();

    static void beforeFork();
    static void afterForkInParent();
    static void afterForkInChild();

    bool watch(Descriptor& child);
    bool startThread();
    void run() noexcept;

    std::mutex mutex;
    std::vector<Descriptor> late;
    Descriptor epoll; ///< valid while the thread runs
    std::size_t watched = 0;
};

} // namespace norq_std_internal::platform

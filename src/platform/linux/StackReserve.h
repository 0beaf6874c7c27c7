#pragma once

#include "platform/linux/FaultContext.h"

#include <cstddef>
#include <cstdint>

namespace norq_std_internal::platform {

/// The lowest part of a thread's stack, closed to it until the rest is used up: then it is opened, so that destructors
/// and handlers have room while the exception passes, and closed again once they are done. Handlers may be done while
/// the thread is still at the end of its stack: what it stands on stays open until it is closed from further up.
class StackReserve {
public:
    /// Closes the lowest part of the calling thread's stack and takes it off `bounds`. A stack too small for that, or
    /// one whose end nobody knows, is left as it is.
    void arrange(StackBounds& bounds);

    /// Opens what is closed of it. Safe in a signal handler. False if there is nothing to open.
    bool open();
    /// Closes again all that lies below the calling frame. Cheap if it is closed.
    void close();
    /// Gives the memory back as it was found.
    void release(StackBounds& bounds);

private:
    void* start = nullptr;
    std::size_t size = 0;
    std::size_t closedSize = 0; ///< from the start on
    bool ownMapping = false;
};

} // namespace norq_std_internal::platform

#pragma once

#include "platform/Event.h"

#include <vector>

#include <poll.h>

namespace norq_std_internal::platform {

/// Descriptors that one or several wait objects are signalled through.
///
/// A wait polls them while none of its objects can be taken, and hands back those that were ready. A source may wake a
/// wait for nothing; it must not let one sleep whose object can be taken.
class WaitSource {
public:
    WaitSource() = default;
    virtual ~WaitSource() = default;
    WaitSource(const WaitSource&) = delete;
    WaitSource& operator=(const WaitSource&) = delete;

    virtual void appendDescriptors(std::vector<pollfd>& descriptors) const = 0;
    /// Called with the own descriptors once one of them is ready, before objects are taken.
    virtual void ready(std::span<const pollfd> descriptors) = 0;
};

} // namespace norq_std_internal::platform

#pragma once

#include "base/Export.h"
#include "base/WString.h"

namespace norq_std {

/// Something that happened, as a `Dispatcher` carries it to the listeners of its name.
class NORQSTD_EXPORT IEvent {
public:
    /// A description for the log.
    virtual WString toString() const = 0;
    /// The name under which listeners are registered. Asked for once at each submission.
    virtual WString getEventName() const = 0;
    /// Keeps its place in the interface. Nothing here calls it.
    virtual void reserved() {}

    virtual ~IEvent();

protected:
    IEvent() = default;
    IEvent(const IEvent&) = default;
    IEvent& operator=(const IEvent&) = default;
};

} // namespace norq_std

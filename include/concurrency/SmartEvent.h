#pragma once

#include "base/Object.h"

#include <memory>

namespace norq_std {

class Event;

/// Owns an unnamed event for programs that hold one; new code uses `Event`, which can be waited for.
class NORQSTD_EXPORT SmartEvent : public Object {
public:
    SmartEvent(bool manualReset, bool initiallySignaled);
    SmartEvent(const SmartEvent&) = delete;
    SmartEvent& operator=(const SmartEvent&) = delete;
    ~SmartEvent() override;

    WString toString() const override;

private:
    std::unique_ptr<Event> event;
};

} // namespace norq_std

#include "concurrency/SmartEvent.h"

#include "concurrency/Event.h"

namespace norq_std {

SmartEvent::SmartEvent(bool manualReset, bool initiallySignaled)
    : event(std::make_unique<Event>(!manualReset, initiallySignaled)) {}

SmartEvent::~SmartEvent() = default;

WString SmartEvent::toString() const { return u"SmartEvent{}"; }

} // namespace norq_std

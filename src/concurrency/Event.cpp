#include "concurrency/Event.h"

namespace norq_std {

Event::Event(bool autoReset, bool signaled)
    : Waitable(autoReset, signaled) {}

Event::~Event() = default;

WString Event::toString() const {
    return WString(u"Event{autoReset=") + (isAutoReset() ? u'1' : u'0') + u",signaled=" + (isSignaled() ? u'1' : u'0') +
           u'}';
}

void Event::signal() { Waitable::signal(); }

void Event::reset() { setSignaled(false); }

} // namespace norq_std

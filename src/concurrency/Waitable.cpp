#include "concurrency/Waitable.h"

#include "internal/WaitablePimpl.h"

namespace norq_std {

Waitable::Waitable(bool autoReset, bool signaled)
    : pimpl(new norq_std_internal::WaitablePimpl(autoReset, signaled)) {}

Waitable::Waitable(norq_std_internal::WaitablePimpl& record)
    : pimpl(&record) {}

Waitable::~Waitable() { pimpl->destroyAndRelease(); }

WString Waitable::toString() const { return u"Waitable{}"; }

bool Waitable::isSignaled() const { return pimpl->isSignaled(); }

void Waitable::signal() { pimpl->signal(); }

bool Waitable::isAutoReset() const { return pimpl->isAutoReset(); }

void Waitable::setAutoReset(bool value) { pimpl->setAutoReset(value); }

void Waitable::setSignaled(bool value) { pimpl->setSignaled(value); }

void Waitable::pulse() { pimpl->pulse(); }

void Waitable::subscribe(Subscription& subscription) { pimpl->subscribe(subscription); }

void Waitable::unsubscribe(Subscription& subscription) { pimpl->unsubscribe(subscription); }

std::size_t Waitable::getSubscriberCount() const { return pimpl->getSubscriberCount(); }

} // namespace norq_std

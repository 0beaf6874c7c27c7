#include "service/ServiceComponent.h"

#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"

namespace norq_std {

ServiceComponent::ServiceComponent() = default;

ServiceComponent::~ServiceComponent() = default;

void ServiceComponent::start() {
    const AutoLock<Lock> guard(lock);
    onStart();
    componentState = COMPONENT_ACTIVE;
}

void ServiceComponent::stop() {
    const AutoLock<Lock> guard(lock);
    onStop();
    componentState = COMPONENT_STOPPED;
}

void ServiceComponent::setActive(bool active) {
    const AutoLock<Lock> guard(lock);
    onSetActive(active);
    componentState = active ? COMPONENT_ACTIVE : COMPONENT_INACTIVE;
}

ComponentState ServiceComponent::getComponentState() const {
    const AutoLock<Lock> guard(lock);
    return componentState;
}

void ServiceComponent::onStart() { NORQ_LOG_FUNCTION_CALL(u"norq_std::ServiceComponent::onStart"); }

void ServiceComponent::onStop() { NORQ_LOG_FUNCTION_CALL(u"norq_std::ServiceComponent::onStop"); }

void ServiceComponent::onSetActive(bool) { NORQ_LOG_FUNCTION_CALL(u"norq_std::ServiceComponent::onSetActive"); }

} // namespace norq_std

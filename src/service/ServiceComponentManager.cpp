#include "service/ServiceComponentManager.h"

#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "service/ServiceComponent.h"

#include <algorithm>

namespace norq_std {

ServiceComponentManager::ServiceComponentManager() = default;

ServiceComponentManager::~ServiceComponentManager() = default;

void ServiceComponentManager::registerComponent(const std::shared_ptr<ServiceComponent>& component) {
    if (!component)
        return;
    NORQ_LOG(DEBUG, u"norq_std::ServiceComponentManager::registerComponent", u"Begin. Component Name = <%ls>.",
             component->getComponentName().c_str());
    const AutoLock<Lock> guard(lock);
    if (std::find(components.begin(), components.end(), component) == components.end())
        components.push_back(component);
}

std::shared_ptr<ServiceComponent> ServiceComponentManager::getComponent(const WString& name) const {
    NORQ_LOG(DEBUG, u"norq_std::ServiceComponentManager::getComponent", u"Begin. name=<%ls>", name.c_str());
    const AutoLock<Lock> guard(lock);
    const auto found = std::find_if(components.begin(), components.end(),
                                    [&](const auto& component) { return component->getComponentName() == name; });
    return found == components.end() ? nullptr : *found;
}

ServiceComponentManager::Components ServiceComponentManager::getComponents() const {
    const AutoLock<Lock> guard(lock);
    return components;
}

// A component that registers another one while it runs adds it to the walk: the end of a list is where it was.

void ServiceComponentManager::startAll() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ServiceComponentManager::startAll");
    const AutoLock<Lock> guard(lock);
    for (const auto& component : components)
        component->start();
}

void ServiceComponentManager::stopAll() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ServiceComponentManager::stopAll");
    const AutoLock<Lock> guard(lock);
    for (const auto& component : components)
        component->stop();
}

void ServiceComponentManager::setAllActive(bool active) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ServiceComponentManager::setAllActive");
    const AutoLock<Lock> guard(lock);
    for (const auto& component : components)
        component->setActive(active);
}

} // namespace norq_std

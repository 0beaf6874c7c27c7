#pragma once

#include "base/Object.h"
#include "concurrency/Lock.h"

#include <list>
#include <memory>

namespace norq_std {

class ServiceComponent;

/// The parts of a service, in the order in which they were registered.
///
/// Any thread may call any operation; they follow each other. The lock is held while components run their operations: a
/// component may call the manager from within one, but must not wait for another thread that does.
class NORQSTD_EXPORT ServiceComponentManager : public Object {
public:
    using Components = std::list<std::shared_ptr<ServiceComponent>>;

    ServiceComponentManager();
    ~ServiceComponentManager() override;
    ServiceComponentManager(const ServiceComponentManager&) = delete;
    ServiceComponentManager& operator=(const ServiceComponentManager&) = delete;

    /// Nothing for null, or for a component that is registered already.
    void registerComponent(const std::shared_ptr<ServiceComponent>& component);
    /// The first component of that name, or null.
    std::shared_ptr<ServiceComponent> getComponent(const WString& name) const;
    Components getComponents() const;

    // All go in the order of registration, `stopAll` too. What a component throws ends the walk and reaches the caller:
    // the components behind it are not called.

    void startAll();
    void stopAll();
    void setAllActive(bool active);

private:
    mutable Lock lock;
    Components components; ///< guarded by the lock
};

} // namespace norq_std

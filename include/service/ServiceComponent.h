#pragma once

#include "base/Object.h"
#include "concurrency/Lock.h"
#include "service/ComponentState.h"

namespace norq_std {

/// One of the parts of a service that are started and stopped together, see `ServiceComponentManager`.
///
/// Any thread may call any operation; they follow each other. The component's lock is held while an `on` operation
/// runs, so that one must not wait for another thread that uses this component.
class NORQSTD_EXPORT ServiceComponent : public Object {
public:
    ServiceComponent();
    ~ServiceComponent() override;
    ServiceComponent(const ServiceComponent&) = delete;
    ServiceComponent& operator=(const ServiceComponent&) = delete;

    /// The same for the whole life of the component.
    virtual WString getComponentName() = 0;

    // What an `on` operation throws reaches the caller, and the state stays as it was.

    /// Afterwards COMPONENT_ACTIVE.
    void start();
    /// Afterwards COMPONENT_STOPPED.
    void stop();
    /// Afterwards COMPONENT_ACTIVE or COMPONENT_INACTIVE, whatever the state was.
    void setActive(bool active);
    ComponentState getComponentState() const;

protected:
    virtual void onStart();
    virtual void onStop();
    virtual void onSetActive(bool active);

private:
    mutable Lock lock;
    ComponentState componentState = COMPONENT_STOPPED; ///< guarded by the lock
};

} // namespace norq_std

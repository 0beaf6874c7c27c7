#pragma once

#include "service/ServiceComponent.h"

#include <functional>
#include <utility>

namespace shipper {

/// A part of the agent: two steps under a name, by which it is started and stopped together with the others.
class AgentPart : public norq_std::ServiceComponent {
public:
    using Step = std::function<void()>;

    AgentPart(norq_std::WString partName, Step startStep, Step stopStep)
        : name(std::move(partName))
        , toStart(std::move(startStep))
        , toStop(std::move(stopStep)) {}

    norq_std::WString getComponentName() override { return name; }

protected:
    void onStart() override { toStart(); }
    void onStop() override { toStop(); }

private:
    const norq_std::WString name;
    const Step toStart;
    const Step toStop;
};

} // namespace shipper

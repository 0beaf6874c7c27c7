#pragma once

namespace norq_std {

/// How far a `ServiceComponent` is.
enum ComponentState : int {
    COMPONENT_STOPPED = 0,
    COMPONENT_ACTIVE = 1,
    COMPONENT_INACTIVE = 2, ///< started, but told not to work for now
};

} // namespace norq_std

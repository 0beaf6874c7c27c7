#pragma once

#include "base/Object.h"

namespace norq_std {

/// What runs a service: enters it, and ends it.
class NORQSTD_EXPORT IController : public Object {
public:
    ~IController() override;
    WString toString() const override;

    /// Runs the service and returns when it has stopped.
    virtual void start() = 0;
    /// Asks the service to stop; with `setStatus` the stopping is reported to whatever manages services.
    virtual void stop(bool setStatus) = 0;
};

} // namespace norq_std

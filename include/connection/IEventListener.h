#pragma once

#include "base/Object.h"

#include <memory>

namespace norq_std {

class IEvent;

/// Hears of the events that it is registered for with a `Dispatcher`.
class NORQSTD_EXPORT IEventListener : public Object {
public:
    ~IEventListener() override;

    /// Called on the thread that submits the event, with no lock held. A `NorqException` or `std::exception` is logged
    /// and keeps no other listener from its call; anything else that is thrown comes out of the submission.
    virtual void submit(const std::shared_ptr<IEvent>& event) = 0;

protected:
    IEventListener() = default;
    IEventListener(const IEventListener&) = default;
    IEventListener& operator=(const IEventListener&) = default;
};

} // namespace norq_std

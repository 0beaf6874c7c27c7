#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <memory>
#include <vector>

namespace norq_std {

class IEvent;
class IEventListener;

/// A place where components of one process meet: listeners are registered under names of events, and who submits an
/// event has every listener of its name called. `DispatcherFactory` hands them out.
///
/// The calls are made on the submitting thread, one listener after the other, and `submit` returns behind the last. A
/// submission calls those who were registered when it began: a listener may add and remove listeners and submit events,
/// and one that is removed meanwhile may still get that event. Not a queue: an event without listeners is gone.
///
/// Any thread may call any operation. A null listener or event, and an empty name, throw
/// `NorqIllegalArgumentException`.
class NORQSTD_EXPORT IDispatcher {
public:
    virtual WString getKey() const = 0;
    virtual WString toString() const = 0;
    /// Registering a listener again under a name changes nothing.
    virtual void addListener(const std::shared_ptr<IEventListener>& listener,
                             const std::vector<WString>& eventNames) = 0;
    virtual void addListener(const std::shared_ptr<IEventListener>& listener, const WString& eventName) = 0;
    /// From all names.
    virtual void removeListener(const std::shared_ptr<IEventListener>& listener) = 0;
    virtual void removeListener(const std::shared_ptr<IEventListener>& listener,
                                const std::vector<WString>& eventNames) = 0;
    virtual void removeListener(const std::shared_ptr<IEventListener>& listener, const WString& eventName) = 0;
    virtual void removeAllListeners() = 0;
    virtual void submit(const std::shared_ptr<IEvent>& event) = 0;

    virtual ~IDispatcher();

protected:
    IDispatcher() = default;
    IDispatcher(const IDispatcher&) = default;
    IDispatcher& operator=(const IDispatcher&) = default;
};

} // namespace norq_std

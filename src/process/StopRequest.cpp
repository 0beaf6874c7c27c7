#include "process/StopRequest.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "platform/NamedEvent.h"
#include "thread/Thread.h"

#include <array>
#include <utility>

namespace norq_std {

namespace platform = norq_std_internal::platform;

/// Waits for the named event, or for its own end.
class StopRequest::Watch : public Runnable {
public:
    Watch(StopRequest& watched, std::unique_ptr<platform::NamedEvent> opened)
        : owner(watched)
        , event(std::move(opened)) {}

    bool isSet() const { return event->take(); }
    bool canEnd() const { return end.valid(); }
    void tellEnd() { end.set(); }
    /// For when no body runs: a thread lets go of its body only after it has ended.
    void close() { event.reset(); }

    void run() override {
        const std::array<platform::WaitObject*, 2> objects{&end, event.get()};
        if (platform::waitForAny(objects, -1) != 0)
            owner.signal();
    }

private:
    StopRequest& owner;
    std::unique_ptr<platform::NamedEvent> event;
    platform::Event end{platform::Event::Reset::Manual};
};

namespace {

std::unique_ptr<platform::NamedEvent> openEvent(const WString& name) {
    ErrorUtils::isEmptyEx(name, u"norq_std::StopRequest::StopRequest", u"eventName");
    std::unique_ptr<platform::NamedEvent> event = platform::NamedEvent::open(name);
    if (event == nullptr)
        throw NorqAccessException(u"Unable to open stop event <" + name + u">. " +
                                      ErrorUtils::getLastErrorDescription(),
                                  ErrorUtils::getLastError());
    return event;
}

} // namespace

StopRequest::StopRequest(const WString& eventName)
    : Waitable(false, false)
    , name(eventName)
    , watch(std::make_shared<Watch>(*this, openEvent(name)))
    , thread(std::make_unique<Thread>(watch, u"StopRequest")) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::StopRequest::StopRequest");
    if (!watch->canEnd())
        throw NorqOutOfResourcesException(ErrorUtils::getLastErrorDescription(), ErrorUtils::getLastError());
    if (watch->isSet())
        setSignaled(true);
    else
        thread->start();
}

StopRequest::~StopRequest() {
    watch->tellEnd();
    thread->join(-1); // the thread may be signaling this object
    watch->close();
}

WString StopRequest::toString() const { return u"StopRequest{name='" + name + u"'}"; }

WString StopRequest::getName() const { return name; }

} // namespace norq_std

#include "connection/Dispatcher.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "connection/IEvent.h"
#include "connection/IEventListener.h"
#include "exception/NorqException.h"

namespace norq_std {
namespace {

void checkListener(const std::shared_ptr<IEventListener>& listener, const WChar* function) {
    ErrorUtils::isNullEx(listener, function, u"Event listener", 0);
}

void checkName(const WString& eventName, const WChar* function) {
    ErrorUtils::isEmptyEx(eventName, function, u"Event name", 0);
}

} // namespace

IEvent::~IEvent() = default;
IEventListener::~IEventListener() = default;
IDispatcher::~IDispatcher() = default;

Dispatcher::Dispatcher(const WString& dispatcherKey)
    : key(dispatcherKey) {}

Dispatcher::~Dispatcher() = default;

WString Dispatcher::getKey() const { return key; }

WString Dispatcher::toString() const { return u"Dispatcher{key='" + key + u"'}"; }

void Dispatcher::addListener(const std::shared_ptr<IEventListener>& listener, const std::vector<WString>& eventNames) {
    checkListener(listener, u"norq_std::Dispatcher::addListener");
    for (const WString& eventName : eventNames)
        checkName(eventName, u"norq_std::Dispatcher::addListener");
    NORQ_LOG_FUNCTION_CALL_TEXT(u"norq_std::Dispatcher::addListener", u"Begin. Listener <%ls> Event list size <%d>.",
                                listener->toString().c_str(), static_cast<int>(eventNames.size()));
    for (const WString& eventName : eventNames) {
        NORQ_LOG(TRACE, u"norq_std::Dispatcher::addListener", u"Adding event <%ls>.", eventName.c_str());
        insert(listener, eventName);
    }
}

void Dispatcher::addListener(const std::shared_ptr<IEventListener>& listener, const WString& eventName) {
    checkListener(listener, u"norq_std::Dispatcher::addListener");
    checkName(eventName, u"norq_std::Dispatcher::addListener");
    NORQ_LOG_FUNCTION_CALL_TEXT(u"norq_std::Dispatcher::addListener", u"Begin. Listener <%ls> Event name <%ls>.",
                                listener->toString().c_str(), eventName.c_str());
    insert(listener, eventName);
}

void Dispatcher::removeListener(const std::shared_ptr<IEventListener>& listener) {
    checkListener(listener, u"norq_std::Dispatcher::removeListener");
    NORQ_LOG_FUNCTION_CALL_TEXT(u"norq_std::Dispatcher::removeListener", u"Begin. Listener <%ls>.",
                                listener->toString().c_str());
    const AutoLock<Lock> guard(lock);
    for (auto& [eventName, registered] : listeners)
        registered.erase(listener);
}

void Dispatcher::removeListener(const std::shared_ptr<IEventListener>& listener,
                                const std::vector<WString>& eventNames) {
    checkListener(listener, u"norq_std::Dispatcher::removeListener");
    for (const WString& eventName : eventNames)
        checkName(eventName, u"norq_std::Dispatcher::removeListener");
    NORQ_LOG_FUNCTION_CALL_TEXT(u"norq_std::Dispatcher::removeListener", u"Begin. Listener <%ls> Event list size <%d>.",
                                listener->toString().c_str(), static_cast<int>(eventNames.size()));
    for (const WString& eventName : eventNames) {
        NORQ_LOG(TRACE, u"norq_std::Dispatcher::removeListener", u"Removing event <%ls>.", eventName.c_str());
        erase(listener, eventName);
    }
}

void Dispatcher::removeListener(const std::shared_ptr<IEventListener>& listener, const WString& eventName) {
    checkListener(listener, u"norq_std::Dispatcher::removeListener");
    checkName(eventName, u"norq_std::Dispatcher::removeListener");
    NORQ_LOG_FUNCTION_CALL_TEXT(u"norq_std::Dispatcher::removeListener", u"Begin. Listener <%ls> Event name <%ls>.",
                                listener->toString().c_str(), eventName.c_str());
    erase(listener, eventName);
}

void Dispatcher::removeAllListeners() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Dispatcher::removeAllListeners");
    Names removed; // a listener that dies with it may call the dispatcher
    const AutoLock<Lock> guard(lock);
    removed.swap(listeners);
    lastSubmitted = nullptr;
}

void Dispatcher::insert(const std::shared_ptr<IEventListener>& listener, const WString& eventName) {
    const AutoLock<Lock> guard(lock);
    listeners[eventName].insert(listener);
}

void Dispatcher::erase(const std::shared_ptr<IEventListener>& listener, const WString& eventName) {
    const AutoLock<Lock> guard(lock);
    if (const auto found = listeners.find(eventName); found != listeners.end())
        found->second.erase(listener);
}

Dispatcher::Listeners::Snapshot Dispatcher::getListeners(const WString& eventName) {
    const AutoLock<Lock> guard(lock);
    if (lastSubmitted == nullptr || !norq_std_internal::SameText()(lastSubmitted->first, eventName)) {
        const auto found = listeners.find(eventName);
        if (found == listeners.end())
            return nullptr;
        lastSubmitted = &*found;
    }
    return lastSubmitted->second.snapshot();
}

void Dispatcher::submit(const std::shared_ptr<IEvent>& event) {
    if (!event)
        ErrorUtils::isNullEx(event, u"norq_std::Dispatcher::submit", u"Event", 0); // whose texts cost more than a look
    NORQ_LOG_FUNCTION_CALL_TEXT(u"norq_std::Dispatcher::submit", u"Begin. Event <%ls>.", event->toString().c_str());
    const WString eventName = event->getEventName();
    const Listeners::Snapshot told = getListeners(eventName);
    if (!told)
        NORQ_LOG(DEBUG, u"norq_std::Dispatcher::submit", u"No listeners registered for event <%ls>.",
                 eventName.c_str());
    NORQ_LOG(TRACE, u"norq_std::Dispatcher::submit", u"Informing listeners.");
    if (told)
        for (const auto& listener : *told)
            tell(*listener, event);
}

void Dispatcher::tell(IEventListener& listener, const std::shared_ptr<IEvent>& event) const {
    NORQ_LOG(TRACE, u"norq_std::Dispatcher::submit", u"Dispatching to listener <%ls>.", listener.toString().c_str());
    try {
        listener.submit(event);
    } catch (const NorqException& e) {
        NORQ_LOG(DEBUG, u"norq_std::Dispatcher::submit",
                 u"Dispatcher %ls. IEventListener::submit(%ls) unexpectedly throw <%ls>.", key.c_str(),
                 event->toString().c_str(), e.getMessage().c_str());
    } catch (const std::exception& e) {
        NORQ_LOG(DEBUG, u"norq_std::Dispatcher::submit",
                 u"Dispatcher %ls. IEventListener::submit(%ls) unexpectedly throw <%hhs>.", key.c_str(),
                 event->toString().c_str(), e.what());
    }
}

} // namespace norq_std

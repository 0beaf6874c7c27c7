#include "prefs/PreferenceChangeNotifier.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "log/NorqLoggerSTD.h"
#include "prefs/PreferenceChangeEvent.h"
#include "prefs/PreferenceChangeListener.h"

#include <cxxabi.h>

namespace norq_std {

PreferenceChangeNotifier::PreferenceChangeNotifier()
    : dispatchThread(*this) {}

PreferenceChangeNotifier::~PreferenceChangeNotifier() {
    NorqLoggerSTD::getInstance().STD0001(u"norq_std::PreferenceChangeNotifier::~PreferenceChangeNotifier");
    dispatchThread.shutdown();
}

const WChar* PreferenceChangeNotifier::getSingletonName() { return u"PreferenceChangeNotifier"; }

Lock& PreferenceChangeNotifier::lock() {
    static Lock& theLock = *new Lock;
    return theLock;
}

WString PreferenceChangeNotifier::toString() const { return u"PreferenceChangeNotifier{}"; }

void PreferenceChangeNotifier::addPreferenceChangeListener(const WString& path,
                                                           const std::shared_ptr<PreferenceChangeListener>& listener) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::PreferenceChangeNotifier::addPreferenceChangeListener");
    const AutoLock<Lock> guard(lock());
    if (!listeners[path].insert(listener).second) {
        NORQ_LOG(DEBUG, u"norq_std::PreferenceChangeNotifier::addPreferenceChangeListener",
                 u"Change listener already in list.");
        return;
    }
    try {
        startEventDispatchThreadIfNecessary();
    } catch (const NorqException&) { // or it would never be called
        removePreferenceChangeListener(path, listener);
        throw;
    }
}

void PreferenceChangeNotifier::removePreferenceChangeListener(
    const WString& path, const std::shared_ptr<PreferenceChangeListener>& listener) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::PreferenceChangeNotifier::removePreferenceChangeListener");
    const AutoLock<Lock> guard(lock());
    const auto found = listeners.find(path);
    if (found == listeners.end() || found->second.erase(listener) == 0) {
        NORQ_LOG(DEBUG, u"norq_std::PreferenceChangeNotifier::removePreferenceChangeListener",
                 u"Listener <%p> not register for path <%ls>.", static_cast<const void*>(listener.get()), path);
        return;
    }
    if (found->second.empty())
        listeners.erase(found);
}

std::size_t PreferenceChangeNotifier::getNumberOfListeners(const WString& path) const {
    ErrorUtils::isEmptyEx(path, u"norq_std::PreferenceChangeNotifier::getNumberOfListeners", u"Path");
    const AutoLock<Lock> guard(lock());
    const auto found = listeners.find(path);
    return found == listeners.end() ? 0 : found->second.size();
}

void PreferenceChangeNotifier::enqueuePreferenceChangeEvent(const std::shared_ptr<PreferenceChangeEvent>& event) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::PreferenceChangeNotifier::enqueuePreferenceChangeEvent");
    const AutoLock<Lock> guard(lock());
    if (events.size() >= static_cast<std::size_t>(MAX_QUEUE_SIZE)) {
        NorqLoggerSTD::getInstance().STD3004(u"norq_std::PreferenceChangeNotifier::enqueuePreferenceChangeEvent",
                                             MAX_QUEUE_SIZE);
        return;
    }
    events.push(event);
    dispatchThread.wakeup();
}

void PreferenceChangeNotifier::startEventDispatchThreadIfNecessary() {
    const AutoLock<Lock> guard(lock());
    if (dispatchThread.getState() == THREAD_RUNNING)
        return;
    NorqLoggerSTD::getInstance().STD0000(u"norq_std::PreferenceChangeNotifier::startEventDispatchThreadIfNecessary");
    dispatchThread.start();
}

bool PreferenceChangeNotifier::isQueueEmpty() const {
    const AutoLock<Lock> guard(lock());
    return events.empty();
}

std::shared_ptr<PreferenceChangeEvent> PreferenceChangeNotifier::takeEvent() {
    const AutoLock<Lock> guard(lock());
    if (events.empty())
        return nullptr;
    std::shared_ptr<PreferenceChangeEvent> event = std::move(events.front());
    events.pop();
    return event;
}

void PreferenceChangeNotifier::handlePreferenceChangeEvent(const std::shared_ptr<PreferenceChangeEvent>& event) const {
    static constexpr WChar Function[] = u"norq_std::PreferenceChangeNotifier::handlePreferenceChangeEvent";
    NORQ_LOG_FUNCTION_CALL(Function);
    Listeners called;
    {
        const AutoLock<Lock> guard(lock());
        if (const auto found = listeners.find(event->getListenerPath()); found != listeners.end())
            called = found->second;
    }
    if (called.empty())
        NORQ_LOG(CALL, Function, u"No listeners for specified path.");
    for (const auto& listener : called)
        listener->preferenceChange(event);
}

PreferenceChangeNotifier::PreferenceChangeEventDispatchThread::PreferenceChangeEventDispatchThread(
    PreferenceChangeNotifier& servedNotifier)
    : AbstractNotificationThread(u"PreferenceChangeEventDispatchThread")
    , notifier(servedNotifier) {}

PreferenceChangeNotifier::PreferenceChangeEventDispatchThread::~PreferenceChangeEventDispatchThread() {
    shutdown();
    join(-1);
}

void PreferenceChangeNotifier::PreferenceChangeEventDispatchThread::run() {
    static constexpr WChar Function[] = u"norq_std::PreferenceChangeNotifier::PreferenceChangeEventDispatchThread::run";
    while (!isShutdown()) {
        try {
            if (notifier.isQueueEmpty())
                sleepForPeriod(-1);
            if (const auto event = notifier.takeEvent())
                notifier.handlePreferenceChangeEvent(event);
            else
                NORQ_LOG(DEBUG, Function, u"Got NULL event from queue.");
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (...) {
            NorqLoggerSTD::getInstance().STD3003(Function);
        }
    }
}

} // namespace norq_std

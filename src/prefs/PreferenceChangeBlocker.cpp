#include "prefs/PreferenceChangeBlocker.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Concurrency.h"
#include "exception/NorqException.h"
#include "internal/PreferenceChangeRelay.h"
#include "log/NorqLoggerSTD.h"
#include "prefs/PreferenceChangeEvent.h"
#include "prefs/Preferences.h"
#include "prefs/PreferencesUtils.h"

namespace norq_std {

using norq_std_internal::PreferenceChangeRelay;

namespace {

constexpr WChar ConstructorName[] = u"norq_std::PreferenceChangeBlocker::PreferenceChangeBlocker";

std::list<std::shared_ptr<Preferences>> nodesAt(const std::vector<WString>& pathKeys, bool isSystem) {
    ErrorUtils::isBelowMinEx(static_cast<std::int32_t>(pathKeys.size()), 1, ConstructorName, u"Keys size");
    std::list<std::shared_ptr<Preferences>> nodes;
    for (const WString& pathKey : pathKeys)
        nodes.push_back(PreferencesUtils::getNode(pathKey, isSystem));
    return nodes;
}

} // namespace

PreferenceChangeBlocker::PreferenceChangeBlocker(Event& stopEvent,
                                                 const std::list<std::shared_ptr<Preferences>>& listenedNodes)
    : nodes(listenedNodes)
    , eventAvailable(false, false)
    , waitSet{&stopEvent, &eventAvailable}
    , relay(std::make_shared<PreferenceChangeRelay>(*this)) {
    NORQ_LOG_FUNCTION_CALL(ConstructorName);
    ErrorUtils::isBelowMinEx(static_cast<std::int32_t>(nodes.size()), 1, ConstructorName, u"Preference node list size");
    for (const auto& node : nodes)
        ErrorUtils::isNullEx(node, ConstructorName, u"Preference node");
    addListener();
}

PreferenceChangeBlocker::PreferenceChangeBlocker(Event& stopEvent, const std::shared_ptr<Preferences>& node)
    : PreferenceChangeBlocker(stopEvent, std::list<std::shared_ptr<Preferences>>{node}) {}

PreferenceChangeBlocker::PreferenceChangeBlocker(Event& stopEvent, const std::vector<WString>& pathKeys, bool isSystem)
    : PreferenceChangeBlocker(stopEvent, nodesAt(pathKeys, isSystem)) {}

PreferenceChangeBlocker::PreferenceChangeBlocker(Event& stopEvent, const WString& pathKey, bool isSystem)
    : PreferenceChangeBlocker(stopEvent, PreferencesUtils::getNode(pathKey, isSystem)) {}

PreferenceChangeBlocker::~PreferenceChangeBlocker() {
    removeListener();
    relay->detach();
}

WString PreferenceChangeBlocker::toString() const { return u"PreferenceChangeBlocker{}"; }

WString PreferenceChangeBlocker::getClassName() const { return u"norq_std.PreferenceChangeBlocker"; }

void PreferenceChangeBlocker::addListener() {
    try {
        for (const auto& node : nodes)
            node->addPreferenceChangeListener(relay);
    } catch (...) { // what was added must not outlive this object
        removeListener();
        relay->detach();
        throw;
    }
}

void PreferenceChangeBlocker::removeListener() {
    for (const auto& node : nodes) {
        try {
            node->removePreferenceChangeListener(relay);
        } catch (const NorqIllegalStateException&) { // the node may be removed by now
        } catch (const NorqException& failure) {
            failure.logDebug(u"norq_std::PreferenceChangeBlocker::removeListener");
        }
    }
}

void PreferenceChangeBlocker::preferenceChange(const std::shared_ptr<PreferenceChangeEvent>& event) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::PreferenceChangeBlocker::preferenceChange");
    const AutoLock<Lock> guard(lock);
    if (events.size() >= static_cast<std::size_t>(DEFAULT_MAX_QUEUE_SIZE)) {
        NorqLoggerSTD::getInstance().STD3005(u"norq_std::PreferenceChangeBlocker::preferenceChange",
                                             DEFAULT_MAX_QUEUE_SIZE);
        return;
    }
    events.push(event);
    eventAvailable.signal();
}

std::shared_ptr<PreferenceChangeEvent> PreferenceChangeBlocker::takeEvent() {
    const AutoLock<Lock> guard(lock);
    std::shared_ptr<PreferenceChangeEvent> event;
    if (!events.empty()) {
        event = std::move(events.front());
        events.pop();
    }
    eventAvailable.reset();
    return event;
}

std::shared_ptr<PreferenceChangeEvent> PreferenceChangeBlocker::getEvent(std::int32_t waitTimeMs) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::PreferenceChangeBlocker::getEvent");
    if (std::shared_ptr<PreferenceChangeEvent> event = takeEvent())
        return event;
    if (Concurrency::waitForMultipleObjects(waitSet, WAIT_ANY, waitTimeMs) < 0)
        return nullptr;
    return takeEvent();
}

WString PreferenceChangeBlocker::getNewValue(const WString& key, std::int32_t waitTimeMs) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::PreferenceChangeBlocker::getNewValue");
    ErrorUtils::isEmptyEx(key, u"norq_std::PreferenceChangeBlocker::getNewValue", u"key");
    while (const std::shared_ptr<PreferenceChangeEvent> event = getEvent(waitTimeMs))
        if (event->getKey() == key)
            return event->getNewValue();
    return WString();
}

} // namespace norq_std

#include "prefs/RegistryListener.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "platform/Error.h"
#include "prefs/PreferenceChangeEvent.h"
#include "prefs/PreferenceChangeNotifier.h"
#include "prefs/RegistryPreferences.h"

namespace norq_std {

namespace platform = norq_std_internal::platform;

namespace {

/// The events of all listeners, for which one thread waits.
platform::RegistryChangeGroup& changeGroup() {
    static platform::RegistryChangeGroup& theGroup = *new platform::RegistryChangeGroup;
    return theGroup;
}

} // namespace

RegistryListener::RegistryListener(HKey rootKey, const WString& monitoredPath)
    : root(rootKey)
    , keyPath(monitoredPath)
    , waitHandle(changeGroup().makeEvent()) {
    static constexpr WChar Function[] = u"norq_std::RegistryListener::RegistryListener";
    ErrorUtils::isEmptyEx(monitoredPath, Function, u"Path");
    ErrorUtils::isNullEx(waitHandle, Function, u"Event handle", ErrorUtils::getLastError());
}

RegistryListener::~RegistryListener() { closeAncestor(); }

WString RegistryListener::toString() const { return u"RegistryListener{" + NorqRegistry::toString() + u"}"; }

void RegistryListener::openKey(std::uint32_t access) {
    const AutoLock<Lock> guard(lock);
    checkShutdown();
    NorqRegistry::openKey(root, keyPath, access);
}

void RegistryListener::updateKeyValues() {
    const AutoLock<Lock> guard(lock);
    checkShutdown();
    keyValues.clear();
    for (auto& [name, value] : getKeyValues())
        keyValues.insert_or_assign(name, value);
}

void RegistryListener::registerListener() {
    static constexpr WChar Function[] = u"norq_std::RegistryListener::registerListener";
    NORQ_LOG_FUNCTION_CALL(Function);
    const AutoLock<Lock> guard(lock);
    checkShutdown();
    if (!isHandleOpen())
        openKey(KEY_READ);
    closeAncestor();
    const std::int32_t error =
        platform::notifyRegistryChange(getHandle(), false, REG_NOTIFY_CHANGE_LAST_SET, waitHandle);
    if (error != platform::NoError)
        closeKey();
    convertWinErrToException(Function, error, u"Monitor registry key <" + keyPath + u">");
}

bool RegistryListener::awaitKey() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::RegistryListener::awaitKey");
    const AutoLock<Lock> guard(lock);
    if (isShutdown)
        return true;
    WString ancestor = keyPath;
    do {
        const std::size_t nameAt = ancestor.rfind(u'\\');
        ancestor.resize(nameAt == WString::npos ? 0 : nameAt);
        if (awaitKeyBelow(ancestor))
            return true;
    } while (!ancestor.empty());
    return false;
}

/// False if the ancestor is not there either.
bool RegistryListener::awaitKeyBelow(const WString& ancestor) {
    closeAncestor();
    if (platform::openRegistryKey(root, ancestor, KEY_READ, openAncestor) != platform::NoError)
        return false;
    if (platform::notifyRegistryChange(openAncestor, false, REG_NOTIFY_CHANGE_NAME, waitHandle) != platform::NoError)
        return false;
    // The next key on the way may have come before the request was made.
    const std::size_t nameAt = ancestor.empty() ? 0 : ancestor.size() + 1;
    HKey next = 0;
    if (platform::openRegistryKey(root, keyPath.substr(0, keyPath.find(u'\\', nameAt)), KEY_READ, next) ==
        platform::NoError) {
        platform::closeRegistryKey(next);
        waitHandle->set();
    }
    return true;
}

void RegistryListener::closeAncestor() {
    if (openAncestor != 0)
        platform::closeRegistryKey(std::exchange(openAncestor, 0));
}

void RegistryListener::deregisterListener() {
    const AutoLock<Lock> guard(lock);
    checkShutdown();
    closeKey();
}

void RegistryListener::updateAndNotify() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::RegistryListener::updateAndNotify");
    for (const Change& change : update()) // without the lock: nodes have locks of their own
        notify(change);
}

std::vector<RegistryListener::Change> RegistryListener::update() {
    static constexpr WChar Function[] = u"norq_std::RegistryListener::updateAndNotify";
    const AutoLock<Lock> guard(lock);
    checkShutdown();
    std::vector<Change> changes;
    std::map<WString, WString> now;
    for (auto& [name, value] : getKeyValues()) {
        const auto known = keyValues.find(name);
        if (known == keyValues.end()) {
            NORQ_LOG(DEBUG, Function, u"New Key <%ls> Value <%ls>.", name, value);
            changes.emplace_back(name, value);
        } else if (known->second != value) {
            NORQ_LOG(DEBUG, Function, u"Key <%ls> Old value <%ls> New value <%ls>.", name, known->second, value);
            changes.emplace_back(name, value);
        }
        now.insert_or_assign(name, value);
    }
    for (const auto& [name, value] : keyValues) {
        if (now.count(name) != 0)
            continue;
        NORQ_LOG(DEBUG, Function, u"Deleted Key <%ls>.", name);
        changes.emplace_back(name, WString());
    }
    keyValues = std::move(now);
    return changes;
}

void RegistryListener::notify(const Change& change) const {
    try {
        const std::shared_ptr<Preferences> node = RegistryPreferences::existingNode(root, keyPath);
        PreferenceChangeNotifier::getInstance().enqueuePreferenceChangeEvent(
            PreferenceChangeEvent::newInstance(node, node->buildListenerPath(), change.first, change.second));
    } catch (const NorqObjectNotFoundException&) {  // removed since it was read: to make its node would make it again
    } catch (const NorqIllegalArgumentException&) { // no name of a node: nobody can listen to it
    }
}

std::shared_ptr<platform::RegistryChange> RegistryListener::getWaitHandle() {
    const AutoLock<Lock> guard(lock);
    checkShutdown();
    return waitHandle;
}

std::size_t RegistryListener::size() {
    const AutoLock<Lock> guard(lock);
    checkShutdown();
    return keyValues.size();
}

void RegistryListener::shutdown() {
    const AutoLock<Lock> guard(lock);
    checkShutdown();
    isShutdown = true;
    closeKey();
    closeAncestor();
}

void RegistryListener::checkShutdown() const {
    if (isShutdown)
        throw NorqIllegalStateException(u"RegistryListener is shutdown.");
}

} // namespace norq_std

#include "prefs/RegistryChangeNotifier.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "log/NorqLoggerSTD.h"
#include "platform/NarrowText.h"
#include "platform/Registry.h"
#include "prefs/PreferenceChangeNotifier.h"
#include "prefs/RegistryPreferences.h"

#include <chrono>
#include <utility>

#include <cxxabi.h>

namespace norq_std {

namespace platform = norq_std_internal::platform;

namespace {

constexpr std::int32_t EndLimitMs = 10;
constexpr auto AttemptInterval = std::chrono::seconds(1);
constexpr int TerminateIndex = 0;
constexpr int UpdateIndex = 1;
constexpr int FirstListenerIndex = 2;

constexpr const WChar* CheckFunction = u"norq_std::RegistryChangeNotifier::RegistryCheckingThread::run";

} // namespace

// ---- what the thread waits for

class RegistryChangeNotifier::Handles {
public:
    explicit Handles(RegistryChangeNotifier& servedNotifier)
        : notifier(servedNotifier)
        , terminateEvent(servedNotifier.terminateEvent)
        , updateEvent(servedNotifier.updateEvent) {
        update();
    }

    /// Takes the events and listeners that there are now.
    void update() {
        const AutoLock<Lock> guard(lock());
        waitListeners.clear();
        waitObjects = {terminateEvent.get(), updateEvent.get()};
        for (const Listeners& ofRoot : notifier.listeners)
            for (const auto& [key, listener] : ofRoot) {
                waitObjects.push_back(listener->getWaitHandle().get());
                waitListeners.push_back(listener);
            }
    }

    /// The lowest index of what is signalled, the failure of the wait, or the end of the time until the next attempt.
    int wait() {
        if (refused.empty())
            return platform::waitForAny(waitObjects, -1);
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(nextAttempt - std::chrono::steady_clock::now());
        if (left > left.zero())
            return platform::waitForAny(waitObjects, static_cast<std::int32_t>(left.count()));
        for (const auto& handle : std::exchange(refused, {}))
            handle->set();
        return platform::WaitTimedOut;
    }

    /// Signals the handle a little later: the store could not serve its listener, and cannot tell when it can.
    void tryAgain(const std::shared_ptr<platform::RegistryChange>& handle) {
        if (refused.empty())
            nextAttempt = std::chrono::steady_clock::now() + AttemptInterval;
        refused.push_back(handle);
    }

    const ListenerPtr& listenerAt(int index) const {
        const int last = FirstListenerIndex + static_cast<int>(waitListeners.size()) - 1;
        ErrorUtils::isOutsideRangeEx(index, FirstListenerIndex, last,
                                     u"norq_std::RegistryChangeNotifier::Handles::listenerAt", u"Index");
        return waitListeners[static_cast<std::size_t>(index - FirstListenerIndex)];
    }

private:
    RegistryChangeNotifier& notifier;
    const std::shared_ptr<PlatformEvent> terminateEvent; // they outlive the notifier's own use of them
    const std::shared_ptr<PlatformEvent> updateEvent;
    std::vector<platform::WaitObject*> waitObjects;
    std::vector<ListenerPtr> waitListeners;
    std::vector<std::shared_ptr<platform::RegistryChange>> refused;
    std::chrono::steady_clock::time_point nextAttempt;
};

// ---- the thread

RegistryChangeNotifier::RegistryCheckingThread::RegistryCheckingThread(RegistryChangeNotifier& servedNotifier)
    : Thread(u"RegistryCheckingThread")
    , notifier(servedNotifier) {}

RegistryChangeNotifier::RegistryCheckingThread::~RegistryCheckingThread() {
    notifier.terminateEvent->set();
    join(-1);
}

void RegistryChangeNotifier::RegistryCheckingThread::run() {
    NORQ_LOG_FUNCTION_CALL(CheckFunction);
    try {
        check();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        NorqLoggerSTD::getInstance().STD3003(CheckFunction);
    }
}

void RegistryChangeNotifier::RegistryCheckingThread::check() {
    Handles handles(notifier);
    for (;;) {
        const int index = handles.wait();
        switch (index) {
        case TerminateIndex:
            NORQ_LOG(DEBUG, CheckFunction, u"Got terminate signal.");
            return;
        case UpdateIndex:
            NORQ_LOG(DEBUG, CheckFunction, u"Got update signal.");
            handles.update();
            break;
        case platform::WaitFailed:
            NORQ_LOG(DEBUG, CheckFunction, u"Wait failed: <%ls>.", ErrorUtils::getLastErrorDescription());
            return;
        case platform::WaitTimedOut:
            break;
        default:
            handleChange(handles, index);
        }
    }
}

void RegistryChangeNotifier::RegistryCheckingThread::handleChange(Handles& handles, int index) {
    const ListenerPtr listener = handles.listenerAt(index);
    std::shared_ptr<platform::RegistryChange> handle;
    try {
        handle = listener->getWaitHandle();
        handle->reset();
        listener->registerListener(); // before the key is read, so that no change falls between the two
        listener->updateAndNotify();
        return;
    } catch (const NorqObjectNotFoundException&) {
    } catch (const NorqIllegalStateException&) {
    } catch (const NorqUnknownException& e) { // the hive is damaged or busy, for all keys or for this one
        e.logDebug(CheckFunction);
        handles.tryAgain(handle);
        return;
    }
    NORQ_LOG(CALL, CheckFunction, u"Got signal for listener that is removed.");
    if (!listener->awaitKey()) { // it may be the key that is gone, and that comes back
        NORQ_LOG(DEBUG, CheckFunction, u"Nothing above the key can be monitored: <%ls>.", platform::registryFailure());
        handles.tryAgain(handle);
    }
    handles.update();
}

// ---- the notifier

RegistryChangeNotifier::RegistryChangeNotifier()
    : terminateEvent(std::make_shared<PlatformEvent>(PlatformEvent::Reset::Manual))
    , updateEvent(std::make_shared<PlatformEvent>(PlatformEvent::Reset::Auto))
    , checkingThread(*this) {
    static constexpr WChar Function[] = u"norq_std::RegistryChangeNotifier::RegistryChangeNotifier";
    ErrorUtils::isNullEx(terminateEvent->valid() ? this : nullptr, Function, u"Terminate event",
                         ErrorUtils::getLastError());
    ErrorUtils::isNullEx(updateEvent->valid() ? this : nullptr, Function, u"Update event", ErrorUtils::getLastError());
}

RegistryChangeNotifier::~RegistryChangeNotifier() { shutdown(); }

const WChar* RegistryChangeNotifier::getSingletonName() { return u"norq_std::RegistryChangeNotifier"; }

WString RegistryChangeNotifier::toString() const { return u"RegistryChangeNotifier{}"; }

Lock& RegistryChangeNotifier::lock() {
    static Lock& theLock = *new Lock;
    return theLock;
}

void RegistryChangeNotifier::checkShutdown() const {
    if (isShutdown)
        throw NorqIllegalStateException(u"RegistryChangeNotifier is shutdown.");
}

RegistryChangeNotifier::HKeyType RegistryChangeNotifier::convertHKeyToHKeyType(HKey root) {
    if (root == RegistryPreferences::SHKEY_CURRENT_USER)
        return CurrentUser;
    if (root == RegistryPreferences::SHKEY_LOCAL_MACHINE)
        return LocalMachine;
    throw NorqIllegalArgumentException(u"Invalid root: <" + norq_std_internal::platform::toWide(std::to_string(root)) +
                                       u">.");
}

void RegistryChangeNotifier::addPreferenceChangeListener(HKey root, const WString& key, const WString& path,
                                                         const std::shared_ptr<PreferenceChangeListener>& listener) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::RegistryChangeNotifier::addPreferenceChangeListener");
    const AutoLock<Lock> guard(lock());
    checkShutdown();
    PreferenceChangeNotifier& notifier = PreferenceChangeNotifier::getInstance();
    const std::size_t before = notifier.getNumberOfListeners(path);
    notifier.addPreferenceChangeListener(path, listener);
    if (before != 0)
        return;
    try {
        startMonitoringKey(root, key);
    } catch (const NorqException&) {
        notifier.removePreferenceChangeListener(path, listener);
        throw;
    }
}

void RegistryChangeNotifier::removePreferenceChangeListener(HKey root, const WString& key, const WString& path,
                                                            const std::shared_ptr<PreferenceChangeListener>& listener) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::RegistryChangeNotifier::removePreferenceChangeListener");
    const AutoLock<Lock> guard(lock());
    checkShutdown();
    PreferenceChangeNotifier& notifier = PreferenceChangeNotifier::getInstance();
    const std::size_t before = notifier.getNumberOfListeners(path);
    notifier.removePreferenceChangeListener(path, listener);
    if (before != 1 || notifier.getNumberOfListeners(path) != 0) // one that was not there changes nothing
        return;
    try {
        stopMonitoringKey(root, key);
    } catch (const NorqObjectNotFoundException&) {
    }
}

void RegistryChangeNotifier::startMonitoringKey(HKey root, const WString& key) {
    static constexpr WChar Function[] = u"norq_std::RegistryChangeNotifier::startMonitoringKey";
    NORQ_LOG_FUNCTION_CALL(Function);
    const HKeyType type = convertHKeyToHKeyType(root);
    const AutoLock<Lock> guard(lock());
    checkShutdown();
    try {
        auto found = listeners.at(type).find(key);
        const bool isNew = found == listeners.at(type).end();
        if (isNew)
            found = listeners.at(type).emplace(key, std::make_shared<RegistryListener>(root, key)).first;
        found->second->openKey(KEY_READ);
        found->second->updateKeyValues();
        found->second->registerListener();
        if (isNew) {
            startRegistryCheckingThreadIfNotRunning();
            updateRegistryCheckingThread();
        }
    } catch (const NorqException&) {
        NORQ_LOG(TRACE, Function, u"Removing listener for key <%ls> because an exception was caught.", key);
        listeners.at(type).erase(key);
        throw;
    }
}

void RegistryChangeNotifier::stopMonitoringKey(HKey root, const WString& key) {
    static constexpr WChar Function[] = u"norq_std::RegistryChangeNotifier::stopMonitoringKey";
    NORQ_LOG_FUNCTION_CALL(Function);
    const HKeyType type = convertHKeyToHKeyType(root);
    ErrorUtils::isEmptyEx(key, Function, u"Key");
    const AutoLock<Lock> guard(lock());
    checkShutdown();
    const auto found = listeners.at(type).find(key);
    if (found == listeners.at(type).end()) {
        const NorqObjectNotFoundException exception(u"Key <" + key + u"> is not being monitored.");
        exception.logDebug(Function);
        throw NorqObjectNotFoundException(exception);
    }
    found->second->shutdown();
    listeners.at(type).erase(found);
    updateRegistryCheckingThread();
}

void RegistryChangeNotifier::startRegistryCheckingThreadIfNotRunning() {
    static constexpr WChar Function[] = u"norq_std::RegistryChangeNotifier::startRegistryCheckingThreadIfNotRunning";
    if (checkingThread.getState() == THREAD_RUNNING)
        return;
    try {
        checkingThread.start();
    } catch (const NorqException& e) {
        const NorqIllegalStateException exception(u"Could not start registry checking thread.", e);
        exception.logDebug(Function);
        throw NorqIllegalStateException(exception);
    }
}

/// Gives the thread a moment to end: it may be busy with a change.
void RegistryChangeNotifier::stopRegistryCheckingThread() {
    terminateEvent->set();
    checkingThread.join(EndLimitMs);
}

/// Does not wait: a listener that the thread does not yet wait for keeps its signal until it does.
void RegistryChangeNotifier::updateRegistryCheckingThread() { updateEvent->set(); }

void RegistryChangeNotifier::shutdown() {
    static constexpr WChar Function[] = u"norq_std::RegistryChangeNotifier::shutdown";
    NORQ_LOG_FUNCTION_CALL(Function);
    const AutoLock<Lock> guard(lock());
    if (isShutdown) {
        NORQ_LOG(CALL, Function, u"Already shutdown.");
        return;
    }
    stopRegistryCheckingThread();
    for (Listeners& ofRoot : listeners)
        ofRoot.clear();
    isShutdown = true;
}

} // namespace norq_std

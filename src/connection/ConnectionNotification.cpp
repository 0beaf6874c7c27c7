#include "connection/ConnectionManager.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "connection/ConnectionThreads.h"
#include "connection/IConnectionStatusListener.h"
#include "exception/NorqException.h"

#include <cxxabi.h>

namespace norq_std {

void ConnectionManager::addListener(const std::shared_ptr<IConnectionStatusListener>& listener) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::addListener");
    ErrorUtils::isNullEx(listener, u"norq_std::ConnectionManager::addListener", u"Connection listener", 0);
    const AutoLock<Lock> guard(lock);
    {
        const AutoLock<Lock> queueGuard(queueLock);
        listeners.insert(listener);
    }
    startNotificationThreadIfNecessary();
}

void ConnectionManager::removeListener(const std::shared_ptr<IConnectionStatusListener>& listener) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::removeListener");
    ErrorUtils::isNullEx(listener, u"norq_std::ConnectionManager::removeListener", u"Connection listener", 0);
    const AutoLock<Lock> guard(lock);
    const AutoLock<Lock> queueGuard(queueLock);
    listeners.erase(listener);
}

void ConnectionManager::notifyListeners(bool isUp, const WString& host) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::notifyListeners");
    const AutoLock<Lock> guard(lock);
    {
        const AutoLock<Lock> queueGuard(queueLock);
        if (listeners.empty())
            return;
    }
    {
        const AutoLock<Lock> queueGuard(queueLock);
        statusQueue.push_back(std::make_shared<ServiceStatus>(isUp, host));
    }
    try {
        startNotificationThreadIfNecessary();
    } catch (const NorqException& e) { // the state has changed all the same: the next change tells of both
        NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::notifyListeners", u"%ls. No thread to notify listeners: <%ls>.",
                 name.c_str(), e.toString().c_str());
        return;
    }
    wakeNotificationThread();
}

std::shared_ptr<ConnectionManager::ServiceStatus> ConnectionManager::getStatus() {
    const AutoLock<Lock> guard(queueLock);
    if (statusQueue.empty())
        return nullptr;
    std::shared_ptr<ServiceStatus> status = std::move(statusQueue.front());
    statusQueue.pop_front();
    return status;
}

ConnectionManager::Listeners::Snapshot ConnectionManager::getListeners() {
    const AutoLock<Lock> guard(queueLock);
    return listeners.snapshot();
}

void ConnectionManager::notifyListener(const std::shared_ptr<IConnectionStatusListener>& listener, bool isUp,
                                       const WString& host) {
    static constexpr const WChar* upTexts[] = {u"false", u"true"};
    try {
        NORQ_LOG(TRACE, u"norq_std::ConnectionManager::notifyListener", u"Notifying <%ls> listener.",
                 listener->toString().c_str());
        doStatusChanged(listener, isUp, host);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const NorqException& e) {
        NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::notifyListener",
                 u"%ls. IConnectionStatusListener::statusChanged(%ls,%ls) unexpectedly throw <%ls>.", name.c_str(),
                 upTexts[isUp], host.c_str(), e.getMessage().c_str());
    } catch (const std::exception& e) {
        NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::notifyListener",
                 u"%ls. IConnectionStatusListener::statusChanged(%ls,%ls) unexpectedly throw <%hhs>.", name.c_str(),
                 upTexts[isUp], host.c_str(), e.what());
    } catch (...) {
        NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::notifyListener",
                 u"%ls. IConnectionStatusListener::statusChanged(%ls,%ls) unexpectedly throw exception.", name.c_str(),
                 upTexts[isUp], host.c_str());
    }
}

template <class T>
void ConnectionManager::startThreadIfNecessary(std::shared_ptr<T>& thread, const WChar* type) {
    if (isClosing)
        return;
    if (!thread || thread->isShutdown()) {
        NORQ_LOG(TRACE, u"norq_std::ConnectionManager::startThreadIfNecessary", u"Creating %ls %ls thread.",
                 name.c_str(), type);
        thread = std::make_shared<T>(*this, thread);
    }
    if (thread->getState() == THREAD_RUNNING)
        return;
    NORQ_LOG(TRACE, u"norq_std::ConnectionManager::startThreadIfNecessary", u"Starting %ls %ls thread.", name.c_str(),
             type);
    thread->start();
    NORQ_LOG(TRACE, u"norq_std::ConnectionManager::startThreadIfNecessary", u"Started %ls %ls thread.", name.c_str(),
             type);
}

void ConnectionManager::startRecoveryThreadIfNecessary() { startThreadIfNecessary(recoveryThread, u"recovery"); }

void ConnectionManager::startNotificationThreadIfNecessary() {
    startThreadIfNecessary(notificationThread, u"notification");
}

void ConnectionManager::wakeThread(const std::shared_ptr<ManagerThread>& thread, const WChar* type) {
    if (thread && thread->getState() == THREAD_RUNNING) {
        NORQ_LOG(TRACE, u"norq_std::ConnectionManager::wakeThread", u"Waking %ls %ls thread.", name.c_str(), type);
        thread->wakeup();
    } else {
        NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::wakeThread", u"There is no %ls %ls thread or it is not alive.",
                 name.c_str(), type);
    }
}

void ConnectionManager::wakeRecoveryThread() { wakeThread(recoveryThread, u"recovery"); }

void ConnectionManager::wakeNotificationThread() { wakeThread(notificationThread, u"notification"); }

} // namespace norq_std

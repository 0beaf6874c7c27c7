#include "connection/ConnectionThreads.h"

#include "base/LogMacros.h"
#include "concurrency/TimeUtils.h"
#include "exception/NorqException.h"

#include <cxxabi.h>

namespace norq_std {
namespace {

constexpr std::int32_t JoinMs = 3000;

thread_local const ConnectionManager* managerOfThisThread = nullptr;

} // namespace

ConnectionManager::ManagerThread::ManagerThread(ConnectionManager& owner, const WString& threadName,
                                                const std::shared_ptr<ManagerThread>& before)
    : AbstractNotificationThread(threadName)
    , manager(owner)
    , predecessor(before) {}

bool ConnectionManager::ManagerThread::isCurrentOf(const ConnectionManager& manager) {
    return managerOfThisThread == &manager;
}

void ConnectionManager::ManagerThread::run() {
    managerOfThisThread = &manager;
    if (predecessor)
        predecessor->join(-1);
    predecessor.reset();
    while (!isShutdown())
        work();
}

void ConnectionManager::ManagerThread::end() {
    try {
        shutdown();
        join(JoinMs);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return; // a destructor has nobody to tell
    }
}

ConnectionManager::RecoveryThread::RecoveryThread(ConnectionManager& owner,
                                                  const std::shared_ptr<ManagerThread>& before)
    : ManagerThread(owner, owner.getName() + u" recovery thread", before) {}

ConnectionManager::RecoveryThread::~RecoveryThread() { end(); }

WString ConnectionManager::RecoveryThread::toString() const {
    return u"RecoveryThread{" + AbstractNotificationThread::toString() + u"}";
}

void ConnectionManager::RecoveryThread::work() {
    proceedWhateverIsThrown();
    sleepForPeriod(choosePeriod());
}

// An implementer that throws what it should not must not end the supervision: the next period tries again.
void ConnectionManager::RecoveryThread::proceedWhateverIsThrown() {
    constexpr const WChar* format = u"%ls. Recovery thread goes on after unexpected <%ls>.";
    try {
        proceed();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const NorqException& e) {
        NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::RecoveryThread::run", format, manager.getName().c_str(),
                 e.toString().c_str());
    } catch (const std::exception& e) {
        NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::RecoveryThread::run",
                 u"%ls. Recovery thread goes on after unexpected <%hhs>.", manager.getName().c_str(), e.what());
    } catch (...) {
        NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::RecoveryThread::run", format, manager.getName().c_str(),
                 u"exception");
    }
}

void ConnectionManager::RecoveryThread::proceed() {
    if (!manager.isWantToBeConnected())
        return;
    if (manager.isInRecovery())
        manager.processRecovery();
    else if (manager.isConnected() && manager.isHeartBeatEnabled())
        sendHeartBeat();
}

int ConnectionManager::RecoveryThread::choosePeriod() const {
    if (manager.isInRecovery())
        return manager.getRecoveryInterval();
    if (manager.isConnected() && manager.isHeartBeatEnabled())
        return manager.getHeartBeatInterval();
    return -1;
}

void ConnectionManager::RecoveryThread::sendHeartBeat() {
    const std::shared_ptr<ISendHeartBeat> sender = manager.getHeartBeatSender();
    if (!sender)
        return;
    const auto interval = static_cast<std::uint64_t>(manager.getHeartBeatInterval());
    if (manager.getLastOperationTime() + interval >= TimeUtils::getCurrentTimeMs())
        return;
    try {
        manager.sendHeartBeat(sender);
    } catch (const NorqConnectException&) {
        manager.reportStatus(StatusEvent::HeartBeatFailed,
                             u"norq_std::ConnectionManager::RecoveryThread::sendHeartBeat", manager.getHost());
    }
}

ConnectionManager::NotificationThread::NotificationThread(ConnectionManager& owner,
                                                          const std::shared_ptr<ManagerThread>& before)
    : ManagerThread(owner, owner.getName() + u" notification thread", before) {}

ConnectionManager::NotificationThread::~NotificationThread() { end(); }

WString ConnectionManager::NotificationThread::toString() const {
    return u"NotificationThread{" + AbstractNotificationThread::toString() + u"}";
}

void ConnectionManager::NotificationThread::work() {
    drain();
    if (!isShutdown())
        sleepForPeriod(-1);
}

void ConnectionManager::NotificationThread::drain() {
    while (!isShutdown()) {
        const std::shared_ptr<ServiceStatus> status = manager.getStatus();
        if (!status)
            return;
        const Listeners::Snapshot told = manager.getListeners();
        for (const auto& listener : *told)
            manager.notifyListener(listener, status->isUpFlag, status->host);
    }
}

} // namespace norq_std

#include "connection/ConnectionManager.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Concurrency.h"
#include "concurrency/TimeUtils.h"
#include "connection/ConnectionThreads.h"
#include "connection/IConnectionImplementer.h"
#include "connection/ISendHeartBeat.h"
#include "connection/ZeroStartConnectionPolicy.h"
#include "exception/NorqException.h"
#include "internal/NumberText.h"
#include "log/NorqLoggerSTD.h"

#include <cxxabi.h>
#include <exception>
#include <utility>

namespace norq_std {
namespace {

constexpr std::int32_t NotificationGraceMs = 100;

const WChar* asText(bool value) { return value ? u"true" : u"false"; }

} // namespace

ConnectionManager::ServiceStatus::ServiceStatus(bool isUp, const WString& serviceHost)
    : isUpFlag(isUp)
    , host(serviceHost) {}

ConnectionManager::ServiceStatus::~ServiceStatus() = default;

WString ConnectionManager::ServiceStatus::toString() const {
    return WString(u"ServiceStatus{isUpFlag=") + asText(isUpFlag) + u",host='" + host + u"'}";
}

ConnectionManager::ConnectionManager(const WString& clientName,
                                     const std::shared_ptr<IConnectionImplementer>& connectionImplementer)
    : name(clientName)
    , implementer(connectionImplementer)
    , connectionPolicy(std::make_shared<ZeroStartConnectionPolicy>()) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::ConnectionManager");
    ErrorUtils::isEmptyEx(name, u"norq_std::ConnectionManager::ConnectionManager", u"Connection manager name", 0);
    ErrorUtils::isNullEx(implementer, u"norq_std::ConnectionManager::ConnectionManager", u"Connection implementer", 0);
}

ConnectionManager::~ConnectionManager() { closeQuietly(); }

void ConnectionManager::closeQuietly() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::~ConnectionManager");
    try {
        {
            const AutoLock<Lock> guard(lock);
            isClosing = true;
        }
        ConnectionManager::shutdown();
        // A listener that was told of the end may have connected again.
        if (isWantToBeConnectedFlag && isConnectedFlag)
            ConnectionManager::disconnect();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const NorqException& e) {
        NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::~ConnectionManager", u"Caught <%ls> which is ignored.",
                 e.toString().c_str());
    } catch (...) {
        return; // a destructor has nobody to tell
    }
}

WString ConnectionManager::getClassName() const { return u"norq_std.ConnectionManager"; }

std::shared_ptr<IConnectionImplementer> ConnectionManager::getConnectionImplementer() const { return implementer; }

WString ConnectionManager::getName() const { return name; }

WString ConnectionManager::toString() const {
    using norq_std_internal::numberText;
    const AutoLock<Lock> guard(lock);
    WString text = u"ConnectionManager{name='" + name;
    text += u"',connImpl=" + implementer->toString();
    text += u",heartBeatSender=" + (heartBeatSender ? heartBeatSender->toString() : WString(u"null"));
    text += u",isHeartBeatEnabledFlag=";
    text += asText(isHeartBeatEnabledFlag);
    text += u",heartBeatInterval=" + numberText(heartBeatInterval);
    text += u",isRecoveryEnabledFlag=";
    text += asText(isRecoveryEnabledFlag);
    text += u",recoveryInterval=" + numberText(recoveryInterval);
    text += u",connectionPolicy=" + connectionPolicy->toString();
    text += u",isTryAllServicesFlag=";
    text += asText(isTryAllServicesFlag);
    text += u",isKeepConnectionAliveFlag=";
    text += asText(isKeepConnectionAliveFlag);
    text += u",isConnectedFlag=";
    text += asText(isConnectedFlag);
    text += u",isInRecoveryFlag=";
    text += asText(isInRecoveryFlag);
    text += u",isWantToBeConnectedFlag=";
    text += asText(isWantToBeConnectedFlag);
    text += u",lastOperationTime=" + numberText(lastOperationTime.load());
    text += u",isLogConnectionStatusFlag=";
    text += asText(isLogConnectionStatusFlag);
    text += u",currentHost='" + currentHost + u"'}";
    return text;
}

bool ConnectionManager::isConnected() const { return isConnectedFlag.load(std::memory_order_acquire); }
bool ConnectionManager::isInRecovery() const { return isInRecoveryFlag.load(std::memory_order_acquire); }
bool ConnectionManager::isWantToBeConnected() const { return isWantToBeConnectedFlag.load(std::memory_order_acquire); }
bool ConnectionManager::isHeartBeatEnabled() const { return isHeartBeatEnabledFlag.load(std::memory_order_acquire); }
bool ConnectionManager::isRecoveryEnabled() const { return isRecoveryEnabledFlag.load(std::memory_order_acquire); }
bool ConnectionManager::isTryAllServices() const { return isTryAllServicesFlag.load(std::memory_order_acquire); }
bool ConnectionManager::isKeepConnectionAlive() const {
    return isKeepConnectionAliveFlag.load(std::memory_order_acquire);
}
bool ConnectionManager::isLogConnectionStatus() const {
    return isLogConnectionStatusFlag.load(std::memory_order_acquire);
}

void ConnectionManager::setWantToBeConnected(bool want) {
    isWantToBeConnectedFlag.store(want, std::memory_order_release);
}
void ConnectionManager::setIsConnected(bool connected) { isConnectedFlag.store(connected, std::memory_order_release); }
void ConnectionManager::setInRecovery(bool inRecovery) {
    isInRecoveryFlag.store(inRecovery, std::memory_order_release);
}
void ConnectionManager::setCurrentHost(const WString& host) { currentHost = host; }

WString ConnectionManager::getHost() const {
    const AutoLock<Lock> guard(lock);
    return currentHost;
}

// The time stands for itself, and a client must not wait for an attempt to connect after each operation.
std::uint64_t ConnectionManager::getLastOperationTime() const {
    return lastOperationTime.load(std::memory_order_relaxed);
}

void ConnectionManager::setLastOperationTime() {
    lastOperationTime.store(TimeUtils::getCurrentTimeMs(), std::memory_order_relaxed);
}

std::shared_ptr<ISendHeartBeat> ConnectionManager::getHeartBeatSender() const {
    const AutoLock<Lock> guard(lock);
    return heartBeatSender;
}

void ConnectionManager::setHeartBeatSender(const std::shared_ptr<ISendHeartBeat>& sender) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::setHeartBeatSender");
    const AutoLock<Lock> guard(lock);
    heartBeatSender = sender;
}

void ConnectionManager::setHeartBeatEnabled(bool enabled) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::setHeartBeatEnabled");
    const AutoLock<Lock> guard(lock);
    isHeartBeatEnabledFlag.store(enabled, std::memory_order_release);
    if (enabled)
        startRecoveryThreadIfNecessary();
    wakeRecoveryThread();
}

int ConnectionManager::getHeartBeatInterval() const {
    const AutoLock<Lock> guard(lock);
    return heartBeatInterval;
}

void ConnectionManager::setHeartBeatInterval(int milliseconds) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::setHeartBeatInterval");
    ErrorUtils::isBelowMinEx(milliseconds, 1, u"norq_std::ConnectionManager::setHeartBeatInterval",
                             u"Heart beat interval", 0);
    const AutoLock<Lock> guard(lock);
    heartBeatInterval = milliseconds;
    wakeRecoveryThread();
}

void ConnectionManager::setRecoveryEnabled(bool enabled) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::setRecoveryEnabled");
    const AutoLock<Lock> guard(lock);
    isRecoveryEnabledFlag.store(enabled, std::memory_order_release);
    if (enabled) {
        doRecovery(false);
    } else {
        setInRecovery(false);
        wakeRecoveryThread();
    }
}

int ConnectionManager::getRecoveryInterval() const {
    const AutoLock<Lock> guard(lock);
    return recoveryInterval;
}

void ConnectionManager::setRecoveryInterval(int milliseconds) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::setRecoveryInterval");
    ErrorUtils::isBelowMinEx(milliseconds, 1, u"norq_std::ConnectionManager::setRecoveryInterval", u"Recovery interval",
                             0);
    const AutoLock<Lock> guard(lock);
    recoveryInterval = milliseconds;
    wakeRecoveryThread();
}

std::shared_ptr<IConnectionPolicy> ConnectionManager::getConnectionPolicy() const {
    const AutoLock<Lock> guard(lock);
    return connectionPolicy;
}

void ConnectionManager::setConnectionPolicy(const std::shared_ptr<IConnectionPolicy>& policy) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::setConnectionPolicy");
    ErrorUtils::isNullEx(policy, u"norq_std::ConnectionManager::setConnectionPolicy", u"Connection policy", 0);
    const AutoLock<Lock> guard(lock);
    connectionPolicy = policy;
}

void ConnectionManager::setTryAllServices(bool enabled) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::setTryAllServices");
    const AutoLock<Lock> guard(lock);
    isTryAllServicesFlag.store(enabled, std::memory_order_release);
}

void ConnectionManager::setKeepConnectionAlive(bool enabled) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::setKeepConnectionAlive");
    const AutoLock<Lock> guard(lock);
    isKeepConnectionAliveFlag.store(enabled, std::memory_order_release);
}

void ConnectionManager::setLogConnectionStatus(bool enabled) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::setLogConnectionStatus");
    const AutoLock<Lock> guard(lock);
    isLogConnectionStatusFlag.store(enabled, std::memory_order_release);
}

void ConnectionManager::connect() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::connect");
    const AutoLock<Lock> guard(lock);
    setWantToBeConnected(true);
    throwIfIsInRecovery();
    if (isConnected()) {
        NORQ_LOG(TRACE, u"norq_std::ConnectionManager::connect", u"Already connected.");
        return;
    }
    try {
        initialConnectAttempt();
    } catch (const NorqConnectException&) {
        reportStatus(StatusEvent::ConnectFailed, u"norq_std::ConnectionManager::connect");
        doRecovery(true);
        NORQ_LOG(TRACE, u"norq_std::ConnectionManager::connect", u"Doing recovery.");
        throw;
    }
    try {
        startRecoveryThreadIfNecessary();
    } catch (const NorqException&) { // what nobody would look after must not stand
        setCurrentHost({});
        callDisconnectConnection(implementer);
        throw;
    }
    setIsConnected(true);
    setLastOperationTime();
    wakeRecoveryThread();
    reportStatus(StatusEvent::Connected, u"norq_std::ConnectionManager::connect", getHost());
    notifyListeners(true, getHost());
}

void ConnectionManager::disconnect() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::disconnect");
    const AutoLock<Lock> guard(lock);
    if (isKeepConnectionAliveFlag.load(std::memory_order_relaxed)) {
        NORQ_LOG(TRACE, u"norq_std::ConnectionManager::disconnect", u"Keep connection alive enabled.");
        return;
    }
    setWantToBeConnected(false);
    if (!isConnected()) {
        setInRecovery(false);
        NORQ_LOG(TRACE, u"norq_std::ConnectionManager::disconnect", u"Is not connected.");
        return;
    }
    const WString host = getHost();
    callDisconnectConnection(implementer);
    setCurrentHost({});
    setIsConnected(false);
    wakeRecoveryThread();
    reportStatus(StatusEvent::Disconnected, u"norq_std::ConnectionManager::disconnect", host);
    notifyListeners(false, host);
}

void ConnectionManager::doRecovery(std::shared_ptr<void>& connection) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::doRecovery");
    const AutoLock<Lock> guard(lock);
    if (isConnected() && callInternalGetConnection(implementer) == connection)
        dropConnection();
    startRecovery();
}

void ConnectionManager::doRecovery(bool dropActiveConnection) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::doRecovery");
    const AutoLock<Lock> guard(lock);
    if (dropActiveConnection && isConnected())
        dropConnection();
    startRecovery();
}

void ConnectionManager::shutdown() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::shutdown");
    std::exception_ptr failure;
    std::vector<std::shared_ptr<ManagerThread>> ending;
    {
        const AutoLock<Lock> guard(lock);
        setKeepConnectionAlive(false);
        try {
            disconnect();
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (const NorqConnectException& e) {
            NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::shutdown", u"Caught <%ls> which is ignored.",
                     e.toString().c_str());
        } catch (...) {
            failure = std::current_exception(); // the threads end all the same
        }
        if (recoveryThread) {
            recoveryThread->shutdown();
            ending.push_back(recoveryThread);
        }
        if (notificationThread) {
            Thread::sleep(NotificationGraceMs);
            notificationThread->shutdown();
            ending.push_back(notificationThread);
        }
    }
    if (!ending.empty() && !ManagerThread::isCurrentOf(*this)) {
        std::vector<Waitable*> waitables;
        waitables.reserve(ending.size());
        for (const auto& thread : ending)
            waitables.push_back(thread.get());
        Concurrency::waitForMultipleObjects(waitables, WAIT_ALL, -1);
    }
    if (failure)
        std::rethrow_exception(failure);
}

} // namespace norq_std

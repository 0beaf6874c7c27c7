#include "connection/ConnectionManager.h"

#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "connection/ConnectionThreads.h"
#include "exception/NorqException.h"
#include "log/NorqLoggerSTD.h"

#include <cxxabi.h>

namespace norq_std {

void ConnectionManager::reportStatus(StatusEvent event, const WChar* function, const WString& host) const {
    static constexpr const WChar* texts[] = {
        u"Client <%ls> connected to service at <%ls>.",
        u"Client <%ls> disconnected from service at <%ls>.",
        u"Client <%ls> failed to connect to any service.",
        u"Client <%ls> failed to send heart beat to service at <%ls>.",
    };
    if (!isLogConnectionStatusFlag.load(std::memory_order_relaxed)) {
        if (StaticLog::isThresholdOn(DEBUG))
            ContextLogMessage::log(DEBUG, function, u"NorqStd", u"", Thread::getCurrentThreadId(),
                                   detail::pathLeaf(NORQ_DETAIL_WIDE(__FILE__)), __LINE__,
                                   texts[static_cast<int>(event)], name.c_str(), host.c_str());
        return;
    }
    NorqLoggerSTD& log = NorqLoggerSTD::getInstance();
    switch (event) {
    case StatusEvent::Connected:
        log.STD0004(function, name.c_str(), host.c_str());
        break;
    case StatusEvent::Disconnected:
        log.STD0005(function, name.c_str(), host.c_str());
        break;
    case StatusEvent::ConnectFailed:
        log.STD2001(function, name.c_str());
        break;
    case StatusEvent::HeartBeatFailed:
        log.STD2000(function, name.c_str(), host.c_str());
        break;
    }
}

void ConnectionManager::throwIfIsInRecovery() const {
    if (!isInRecovery())
        return;
    const NorqConnectException failure(name + u". Automatic recovery to service is in progress.");
    failure.logDebug(u"norq_std::ConnectionManager::throwIfIsInRecovery");
    throw NorqConnectException(failure);
}

void ConnectionManager::initialConnectAttempt() {
    if (isTryAllServicesFlag.load(std::memory_order_relaxed))
        attemptToConnectToAllHosts(false);
    else
        attemptToConnectToOneHost();
}

void ConnectionManager::attemptToConnectToOneHost() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::attemptToConnectToOneHost");
    int index = isRecoveryEnabled() ? connectionPolicy->getIndexForNextConnectionAttempt(false, true) : 0;
    WString host;
    try {
        host = callUseServiceConnectionInfo(implementer, index);
    } catch (const NorqObjectNotFoundException&) {
        if (index == 0)
            throw;
        index = 0;
        host = callUseServiceConnectionInfo(implementer, index);
    }
    attemptToConnect(index, host);
}

void ConnectionManager::attemptToConnectToAllHosts(bool isRecovery) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::attemptToConnectToAllHosts");
    bool mayWrap = true;
    int index = connectionPolicy->getIndexForNextConnectionAttempt(isRecovery, true);
    const int startIndex = index;
    for (;;) {
        NORQ_LOG(TRACE, u"norq_std::ConnectionManager::attemptToConnectToAllHosts", u"Attempting host <%d>.", index);
        WString host;
        try {
            host = callUseServiceConnectionInfo(implementer, index);
        } catch (const NorqObjectNotFoundException& notFound) {
            if (!mayWrap || index == 0 || startIndex == 0)
                throwEndOfList(index, notFound);
            index = 0;
            mayWrap = false;
            continue;
        }
        try {
            attemptToConnect(index, host);
            return;
        } catch (const NorqConnectException& e) {
            NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::attemptToConnectToAllHosts",
                     u"Caught <%ls> which is ignored.", e.toString().c_str());
            index = connectionPolicy->getIndexForNextConnectionAttempt(isRecovery, false);
        }
    }
}

void ConnectionManager::attemptToConnect(int index, const WString& host) {
    connectionPolicy->setIndexOfConnectionInfoInLastAttempt(index);
    callEstablishConnection(implementer);
    connectionPolicy->setIndexOfConnectionInfoInLastSuccessful(index);
    setCurrentHost(host);
}

void ConnectionManager::throwEndOfList(int index, const NorqObjectNotFoundException& notFound) const {
    if (index == 0) {
        NORQ_LOG(TRACE, u"norq_std::ConnectionManager::attemptToConnectToAllHosts", u"No service configured.");
        throw;
    }
    const NorqConnectException failure(name + u". Unable to connect to any service.", notFound);
    failure.logDebug(u"norq_std::ConnectionManager::attemptToConnectToAllHosts");
    throw NorqConnectException(failure);
}

void ConnectionManager::dropConnection() {
    const WString host = getHost();
    try {
        callDisconnectConnection(implementer);
    } catch (const NorqException& e) {
        NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::doRecovery", u"Caught <%ls> which is ignored.",
                 e.toString().c_str());
    }
    setInRecovery(false);
    setCurrentHost({});
    setIsConnected(false);
    reportStatus(StatusEvent::Disconnected, u"norq_std::ConnectionManager::doRecovery", host);
    notifyListeners(false, host);
}

void ConnectionManager::startRecovery() {
    if (!isWantToBeConnectedFlag.load(std::memory_order_relaxed) || !isRecoveryEnabled() || isConnected())
        return;
    NORQ_LOG(TRACE, u"norq_std::ConnectionManager::doRecovery", u"Initiate recovery.");
    setInRecovery(true);
    try {
        startRecoveryThreadIfNecessary();
        wakeRecoveryThread();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        setInRecovery(false); // nobody would end it, and `connect` refuse for good
        throw;
    }
}

void ConnectionManager::processRecovery() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::processRecovery");
    const AutoLock<Lock> guard(lock);
    if (!isInRecovery())
        return; // it ended while this thread came to the lock, and a connection may be there
    try {
        attemptToConnectToAllHosts(true);
    } catch (const NorqConnectException&) {
        reportStatus(StatusEvent::ConnectFailed, u"norq_std::ConnectionManager::processRecovery");
        return;
    } catch (const NorqObjectNotFoundException&) {
        reportStatus(StatusEvent::ConnectFailed, u"norq_std::ConnectionManager::processRecovery");
        return;
    }
    setInRecovery(false);
    if (!isWantToBeConnectedFlag.load(std::memory_order_relaxed)) {
        setCurrentHost({});
        try {
            callDisconnectConnection(implementer);
        } catch (const NorqConnectException& e) {
            NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::processRecovery", u"Caught <%ls> which is ignored.",
                     e.toString().c_str());
        }
        return;
    }
    setIsConnected(true);
    setLastOperationTime();
    reportStatus(StatusEvent::Connected, u"norq_std::ConnectionManager::processRecovery", getHost());
    notifyListeners(true, getHost());
}

void ConnectionManager::sendHeartBeat(const std::shared_ptr<ISendHeartBeat>& sender) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConnectionManager::sendHeartBeat");
    std::shared_ptr<void> connection;
    {
        const AutoLock<Lock> guard(lock);
        if (!isConnected())
            return;
        connection = callInternalGetConnection(implementer);
    }
    try {
        doSendHeartBeat(sender);
        NORQ_LOG(TRACE, u"norq_std::ConnectionManager::sendHeartBeat", u"Heartbeat successful.");
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const NorqConnectException& e) {
        NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::sendHeartBeat",
                 u"%ls. ISendHeartBeat::sendHeartBeat throw <%ls> to indicate heart beat failed. Initiating recovery.",
                 name.c_str(), e.getMessage().c_str());
        doRecovery(connection);
    } catch (const NorqException& e) {
        NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::sendHeartBeat",
                 u"%ls. ISendHeartBeat::sendHeartBeat unexpectedly throw <%ls>.", name.c_str(), e.getMessage().c_str());
    } catch (const std::exception& e) {
        NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::sendHeartBeat",
                 u"%ls. ISendHeartBeat::sendHeartBeat unexpectedly throw <%hhs>.", name.c_str(), e.what());
    } catch (...) {
        NORQ_LOG(DEBUG, u"norq_std::ConnectionManager::sendHeartBeat",
                 u"%ls. ISendHeartBeat::sendHeartBeat unexpectedly throw exception.", name.c_str());
    }
}

} // namespace norq_std

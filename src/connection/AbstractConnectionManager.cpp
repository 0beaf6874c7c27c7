#include "connection/AbstractConnectionManager.h"

#include "connection/IConnectionImplementer.h"
#include "connection/IConnectionStatusListener.h"
#include "connection/ISendHeartBeat.h"

namespace norq_std {

IConnectionImplementer::~IConnectionImplementer() = default;
std::shared_ptr<void> IConnectionImplementer::internalGetConnection() { return nullptr; }

ISendHeartBeat::~ISendHeartBeat() = default;

IConnectionStatusListener::~IConnectionStatusListener() = default;

AbstractConnectionManager::~AbstractConnectionManager() = default;

void AbstractConnectionManager::setLastOperationTime() {}

WString
AbstractConnectionManager::callUseServiceConnectionInfo(const std::shared_ptr<IConnectionImplementer>& implementer,
                                                        int index) {
    return implementer->useServiceConnectionInfo(index);
}

void AbstractConnectionManager::callEstablishConnection(const std::shared_ptr<IConnectionImplementer>& implementer) {
    implementer->establishConnection();
}

void AbstractConnectionManager::callDisconnectConnection(const std::shared_ptr<IConnectionImplementer>& implementer) {
    implementer->disconnectConnection();
}

std::shared_ptr<void>
AbstractConnectionManager::callInternalGetConnection(const std::shared_ptr<IConnectionImplementer>& implementer) {
    return implementer->internalGetConnection();
}

void AbstractConnectionManager::doStatusChanged(const std::shared_ptr<IConnectionStatusListener>& listener, bool isUp,
                                                const WString& host) {
    listener->statusChanged(isUp, host);
}

void AbstractConnectionManager::doSendHeartBeat(const std::shared_ptr<ISendHeartBeat>& sender) {
    sender->sendHeartBeat();
}

} // namespace norq_std

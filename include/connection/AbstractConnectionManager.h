#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstdint>
#include <memory>

namespace norq_std {

class IConnectionImplementer;
class IConnectionStatusListener;
class ISendHeartBeat;

/// What a supervised connection can do; `ConnectionManager` says how.
class NORQSTD_EXPORT AbstractConnectionManager {
public:
    virtual ~AbstractConnectionManager();

    virtual WString getClassName() const = 0;
    virtual std::shared_ptr<IConnectionImplementer> getConnectionImplementer() const = 0;
    virtual WString getName() const = 0;
    virtual std::shared_ptr<ISendHeartBeat> getHeartBeatSender() const = 0;
    virtual bool isHeartBeatEnabled() const = 0;
    virtual int getHeartBeatInterval() const = 0;
    virtual bool isRecoveryEnabled() const = 0;
    virtual int getRecoveryInterval() const = 0;
    virtual bool isConnected() const = 0;
    virtual bool isInRecovery() const = 0;
    virtual WString getHost() const = 0;
    virtual void setHeartBeatSender(const std::shared_ptr<ISendHeartBeat>& sender) = 0;
    virtual void setHeartBeatEnabled(bool enabled) = 0;
    virtual void setHeartBeatInterval(int milliseconds) = 0;
    virtual void setRecoveryEnabled(bool enabled) = 0;
    virtual void setRecoveryInterval(int milliseconds) = 0;
    /// Does nothing here.
    virtual void setLastOperationTime();
    virtual WString toString() const = 0;
    virtual void addListener(const std::shared_ptr<IConnectionStatusListener>& listener) = 0;
    virtual void removeListener(const std::shared_ptr<IConnectionStatusListener>& listener) = 0;
    virtual void connect() = 0;
    virtual void disconnect() = 0;
    virtual void doRecovery(std::shared_ptr<void>& connection) = 0;
    virtual void doRecovery(bool dropActiveConnection) = 0;
    virtual void shutdown() = 0;

protected:
    AbstractConnectionManager() = default;
    AbstractConnectionManager(const AbstractConnectionManager&) = default;
    AbstractConnectionManager& operator=(const AbstractConnectionManager&) = default;

    // Each calls the operation of its name on its argument, for a subclass to wrap what leaves the library.
    virtual WString callUseServiceConnectionInfo(const std::shared_ptr<IConnectionImplementer>& implementer, int index);
    virtual void callEstablishConnection(const std::shared_ptr<IConnectionImplementer>& implementer);
    virtual void callDisconnectConnection(const std::shared_ptr<IConnectionImplementer>& implementer);
    virtual std::shared_ptr<void> callInternalGetConnection(const std::shared_ptr<IConnectionImplementer>& implementer);
    virtual void doStatusChanged(const std::shared_ptr<IConnectionStatusListener>& listener, bool isUp,
                                 const WString& host);
    virtual void doSendHeartBeat(const std::shared_ptr<ISendHeartBeat>& sender);
};

} // namespace norq_std

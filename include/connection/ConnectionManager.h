#pragma once

#include "base/Object.h"
#include "base/ThreadAnnotations.h"
#include "concurrency/Lock.h"
#include "connection/AbstractConnectionManager.h"
#include "connection/IConnectionPolicy.h"
#include "internal/ListenerSet.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>

namespace norq_std {

class NorqObjectNotFoundException;

/// Keeps a client connected to one of several interchangeable services.
///
/// It knows nothing of the wire: an `IConnectionImplementer` selects, connects and disconnects, the manager decides
/// when. It connects on request, proves an idle connection by heartbeats, goes back to a service in the background when
/// the connection is lost, and tells listeners of every change. States and transitions stand in docs/connections.md.
/// Not for a client that wants several connections at once: it takes a manager for each.
///
/// **Threads.** Any thread may call any operation. Attempts to connect run one at a time, on the thread that asked for
/// the connection or on the recovery thread, and while one runs everything waits but the flags, `getName`,
/// `getConnectionImplementer` and `setLastOperationTime`. Listeners run on a notification thread, heartbeats on the
/// recovery thread, neither with a lock held, so both may call the manager. Both threads start when they are first
/// needed.
///
/// **Lifetime.** The destructor shuts down and waits for the threads, so it must not run on one of them: a listener or
/// sender does not hold the last reference. A subclass that overrides what the threads call has `shutdown` in its own
/// destructor. After `shutdown` the manager may be used again.
///
/// What happened before a change of a flag is visible to who has read the flag.
class NORQSTD_EXPORT ConnectionManager : public AbstractConnectionManager, public Object {
public:
    /// Milliseconds.
    static constexpr int DEFAULT_HEARTBEAT_INTERVAL = 30000;
    static constexpr int DEFAULT_RECOVERY_INTERVAL = 15000;

    /// A change that waits to be told.
    class NORQSTD_EXPORT ServiceStatus : public Object {
    public:
        ServiceStatus(bool isUp, const WString& serviceHost);
        ~ServiceStatus() override;

        WString toString() const override;

        bool isUpFlag;
        WString host;
    };

    /// Connects nothing and starts no thread. `clientName` stands in all messages. Throws
    /// `NorqIllegalArgumentException` for an empty name or a null implementer.
    ConnectionManager(const WString& clientName, const std::shared_ptr<IConnectionImplementer>& connectionImplementer);
    ~ConnectionManager() override;
    ConnectionManager(const ConnectionManager&) = delete;
    ConnectionManager& operator=(const ConnectionManager&) = delete;

    WString getClassName() const override;
    std::shared_ptr<IConnectionImplementer> getConnectionImplementer() const override;
    WString getName() const override;
    WString toString() const override;

    // The state.

    bool isConnected() const override;
    /// Whether the connection is being recovered in the background.
    bool isInRecovery() const override;
    /// What the client wishes, as opposed to the fact.
    bool isWantToBeConnected() const;
    /// The host of the connection; empty while there is none.
    WString getHost() const override;
    /// Milliseconds since 1970 of the last proof of life; 0 before the first.
    std::uint64_t getLastOperationTime() const;
    /// To be called after each operation that proved the connection: it puts off the next heartbeat. It takes no lock.
    void setLastOperationTime() override;

    // Settings, which may be changed at any time.

    std::shared_ptr<ISendHeartBeat> getHeartBeatSender() const override;
    /// Null for no heartbeats.
    void setHeartBeatSender(const std::shared_ptr<ISendHeartBeat>& sender) override;
    bool isHeartBeatEnabled() const override;
    void setHeartBeatEnabled(bool enabled) override;
    int getHeartBeatInterval() const override;
    /// Throws `NorqIllegalArgumentException` below 1 millisecond.
    void setHeartBeatInterval(int milliseconds) override;
    bool isRecoveryEnabled() const override;
    /// Enabling begins the recovery of a connection that is wanted and lost; disabling ends one.
    void setRecoveryEnabled(bool enabled) override;
    int getRecoveryInterval() const override;
    /// The time between two walks over the services. Throws `NorqIllegalArgumentException` below 1 millisecond.
    void setRecoveryInterval(int milliseconds) override;
    std::shared_ptr<IConnectionPolicy> getConnectionPolicy() const;
    /// Throws `NorqIllegalArgumentException` for null.
    void setConnectionPolicy(const std::shared_ptr<IConnectionPolicy>& policy);
    bool isTryAllServices() const;
    /// Whether `connect` tries every service before it fails. Off, it tries one and leaves the others to the recovery.
    void setTryAllServices(bool enabled);
    bool isKeepConnectionAlive() const;
    /// Whether `disconnect` does nothing, for a connection that outlives those who use it.
    void setKeepConnectionAlive(bool enabled);
    bool isLogConnectionStatus() const;
    /// Whether changes are logged as numbered messages. Off, they are debug lines.
    void setLogConnectionStatus(bool enabled);

    /// A second time changes nothing. Changes are kept for telling only while there is a listener. Throws
    /// `NorqIllegalArgumentException` for null.
    void addListener(const std::shared_ptr<IConnectionStatusListener>& listener) override;
    /// The listener may be told once more if a change was being told. Throws `NorqIllegalArgumentException` for null.
    void removeListener(const std::shared_ptr<IConnectionStatusListener>& listener) override;

    // The connection.

    /// Connects, unless connected already.
    ///
    /// Throws `NorqConnectException` if no service was reached, and goes on in the background if recovery is enabled;
    /// or if the background is at it already. Throws `NorqObjectNotFoundException` if there is no service at all, and
    /// leaves it at that. Whatever else the implementer throws comes out too.
    void connect() override;
    /// Gives up the connection and the wish for it, a recovery too. What the implementer throws comes out; the
    /// connection then counts as up still, though not as wanted.
    void disconnect() override;
    /// Reports that this connection, as `internalGetConnection` gave it, has failed. It is dropped, if it is still the
    /// one in use, and recovery begins if no connection is there.
    void doRecovery(std::shared_ptr<void>& connection) override;
    /// Begins recovery if a connection is wanted and not there; true drops the one in use first.
    void doRecovery(bool dropActiveConnection) override;
    /// Disconnects, even if the connection is to be kept alive, and ends both threads. Changes that have not been told
    /// within 100 milliseconds stay queued until the notification thread is next started.
    ///
    /// Returns when the threads have ended; on one of them it asks for their end and returns at once. What the
    /// implementer throws, a `NorqConnectException` excepted, comes out when all of this is done.
    void shutdown() override;

private:
    class ManagerThread;
    class RecoveryThread;
    class NotificationThread;
    enum class StatusEvent { Connected, Disconnected, ConnectFailed, HeartBeatFailed };
    using Listeners = norq_std_internal::ListenerSet<IConnectionStatusListener>;

    void closeQuietly();
    void reportStatus(StatusEvent event, const WChar* function, const WString& host = {}) const;

    void setWantToBeConnected(bool want);
    void setIsConnected(bool connected);
    void setInRecovery(bool inRecovery);
    void setCurrentHost(const WString& host) NORQ_REQUIRES(lock);

    void throwIfIsInRecovery() const;
    void initialConnectAttempt() NORQ_REQUIRES(lock);
    void attemptToConnectToOneHost() NORQ_REQUIRES(lock);
    void attemptToConnectToAllHosts(bool isRecovery) NORQ_REQUIRES(lock);
    void attemptToConnect(int index, const WString& host) NORQ_REQUIRES(lock);
    [[noreturn]] void throwEndOfList(int index, const NorqObjectNotFoundException& notFound) const;
    void dropConnection() NORQ_REQUIRES(lock);
    void startRecovery() NORQ_REQUIRES(lock);

    void processRecovery();
    void sendHeartBeat(const std::shared_ptr<ISendHeartBeat>& sender);

    void notifyListeners(bool isUp, const WString& host);
    void notifyListener(const std::shared_ptr<IConnectionStatusListener>& listener, bool isUp, const WString& host);
    std::shared_ptr<ServiceStatus> getStatus();
    Listeners::Snapshot getListeners();

    template <class T>
    void startThreadIfNecessary(std::shared_ptr<T>& thread, const WChar* type) NORQ_REQUIRES(lock);
    void startRecoveryThreadIfNecessary() NORQ_REQUIRES(lock);
    void startNotificationThreadIfNecessary() NORQ_REQUIRES(lock);
    void wakeThread(const std::shared_ptr<ManagerThread>& thread, const WChar* type) NORQ_REQUIRES(lock);
    void wakeRecoveryThread() NORQ_REQUIRES(lock);
    void wakeNotificationThread() NORQ_REQUIRES(lock);

    mutable Lock lock; ///< held over every attempt to connect
    const WString name;
    const std::shared_ptr<IConnectionImplementer> implementer;

    // Changed with `lock` held too, and read with this one alone: what is to be told need not wait for an attempt.
    Lock queueLock NORQ_ACQUIRED_AFTER(lock);
    Listeners listeners NORQ_GUARDED_BY(queueLock);
    std::deque<std::shared_ptr<ServiceStatus>> statusQueue NORQ_GUARDED_BY(queueLock);

    std::shared_ptr<NotificationThread> notificationThread NORQ_GUARDED_BY(lock);
    std::shared_ptr<ISendHeartBeat> heartBeatSender NORQ_GUARDED_BY(lock);
    std::shared_ptr<RecoveryThread> recoveryThread NORQ_GUARDED_BY(lock);

    // Flags are changed with `lock` held and read without.
    std::atomic<bool> isHeartBeatEnabledFlag{false};
    int heartBeatInterval NORQ_GUARDED_BY(lock) = DEFAULT_HEARTBEAT_INTERVAL;
    std::atomic<bool> isRecoveryEnabledFlag{true};
    int recoveryInterval NORQ_GUARDED_BY(lock) = DEFAULT_RECOVERY_INTERVAL;
    std::shared_ptr<IConnectionPolicy> connectionPolicy NORQ_GUARDED_BY(lock);
    std::atomic<bool> isTryAllServicesFlag{false};
    std::atomic<bool> isKeepConnectionAliveFlag{false};
    std::atomic<bool> isConnectedFlag{false};
    std::atomic<bool> isInRecoveryFlag{false};
    std::atomic<bool> isWantToBeConnectedFlag{false};
    std::atomic<std::uint64_t> lastOperationTime{0};
    WString currentHost NORQ_GUARDED_BY(lock);
    std::atomic<bool> isLogConnectionStatusFlag{true};
    bool isClosing NORQ_GUARDED_BY(lock) = false; ///< no thread starts any more
};

} // namespace norq_std

#pragma once

#include "connection/ConnectionManager.h"
#include "thread/AbstractNotificationThread.h"

namespace norq_std {

/// A thread of a manager. The manager owns it and waits for its end, so that the reference holds.
///
/// One that was shut down is never started again: who needs a thread while it is still on its way out makes its
/// successor, which takes up the work when the predecessor has ended.
class ConnectionManager::ManagerThread : public AbstractNotificationThread {
public:
    /// Whether the caller runs on a thread of this manager.
    static bool isCurrentOf(const ConnectionManager& manager);

    void run() final;

protected:
    ManagerThread(ConnectionManager& owner, const WString& threadName, const std::shared_ptr<ManagerThread>& before);

    /// Does what there is to do, and sleeps.
    virtual void work() = 0;
    void end();

    ConnectionManager& manager;

private:
    std::shared_ptr<ManagerThread> predecessor; ///< of the body alone, once it runs
};

class ConnectionManager::RecoveryThread : public ManagerThread {
public:
    RecoveryThread(ConnectionManager& owner, const std::shared_ptr<ManagerThread>& before);
    ~RecoveryThread() override;

    WString toString() const override;

protected:
    void work() override;

private:
    void proceed();
    void proceedWhateverIsThrown();
    void sendHeartBeat();
    int choosePeriod() const;
};

class ConnectionManager::NotificationThread : public ManagerThread {
public:
    NotificationThread(ConnectionManager& owner, const std::shared_ptr<ManagerThread>& before);
    ~NotificationThread() override;

    WString toString() const override;

protected:
    void work() override;

private:
    void drain();
};

} // namespace norq_std

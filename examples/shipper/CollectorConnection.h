#pragma once

#include "CollectorSession.h"
#include "DeliveryProtocol.h"

#include "concurrency/Event.h"
#include "concurrency/Lock.h"
#include "connection/IConnectionImplementer.h"
#include "connection/ISendHeartBeat.h"
#include "thread/Thread.h"

#include <memory>
#include <string>
#include <vector>

namespace shipper {

/// The wire to one of several collectors, for a `ConnectionManager`: connected means that the collector has been
/// greeted and knows what counts.
class CollectorConnection : public norq_std::IConnectionImplementer, public norq_std::ISendHeartBeat {
public:
    /// `lost` is signalled when the connection breaks off, and when there is a new one. `contact` is held while
    /// anything is said to a collector about batches.
    CollectorConnection(std::vector<wire::Endpoint> collectors, DeliveryState& state, norq_std::Event& lost,
                        norq_std::Lock& contact);
    ~CollectorConnection() override;
    CollectorConnection(const CollectorConnection&) = delete;
    CollectorConnection& operator=(const CollectorConnection&) = delete;

    norq_std::WString toString() const override;
    norq_std::WString useServiceConnectionInfo(int index) override;
    void establishConnection() override;
    void disconnectConnection() override;
    std::shared_ptr<void> internalGetConnection() override { return getSession(); }
    void sendHeartBeat() override;

    /// Null while there is no connection.
    std::shared_ptr<CollectorSession> getSession() const;
    /// A connection beside the one in use. Throws `NorqConnectException`.
    std::shared_ptr<CollectorSession> open(const wire::Endpoint& endpoint);

private:
    class ContextThread;

    void setSession(std::shared_ptr<CollectorSession> next);

    const std::vector<wire::Endpoint> collectors;
    DeliveryState& state;
    norq_std::Event& lost;
    norq_std::Lock& contact;
    std::size_t selected = 0;

    boost::asio::io_context context{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work{context.get_executor()};
    std::unique_ptr<norq_std::Thread> thread;

    mutable norq_std::Lock lock; ///< guards the session
    std::shared_ptr<CollectorSession> session;
};

} // namespace shipper

#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <memory>

namespace norq_std {

/// The wire of a connection, which the client of a `ConnectionManager` supplies: it holds the list of services, and can
/// select one, connect to it and disconnect.
///
/// The manager calls it with its lock held, one call at a time, from the threads of its callers and from its recovery
/// thread. An operation that takes long holds up everything but the flags of the manager, so a connection attempt
/// should have a time-out of its own.
class NORQSTD_EXPORT IConnectionImplementer {
public:
    virtual ~IConnectionImplementer();

    virtual WString toString() const = 0;
    /// Selects the service of that number, from 0, for the next connection, and gives its host as text. Throws
    /// `NorqObjectNotFoundException` behind the end of the list; that is how the manager finds the end.
    virtual WString useServiceConnectionInfo(int index) = 0;
    /// Connects to the selected service. Throws `NorqConnectException` on failure, and has then nothing open.
    virtual void establishConnection() = 0;
    /// Closes the connection. One that is broken is closed all the same.
    virtual void disconnectConnection() = 0;
    /// The identity of the connection in use, by which a failure that is reported late is told from one of the
    /// connection that took its place; null by default, and then all connections are the same.
    virtual std::shared_ptr<void> internalGetConnection();

protected:
    IConnectionImplementer() = default;
    IConnectionImplementer(const IConnectionImplementer&) = default;
    IConnectionImplementer& operator=(const IConnectionImplementer&) = default;
};

} // namespace norq_std

#pragma once

#include "base/Export.h"
#include "base/WString.h"

namespace norq_std {

/// Proves an idle connection. `ConnectionManager` calls it on its recovery thread, without a lock, so that it may call
/// the manager, and must not mind that the connection is closed at the same moment.
class NORQSTD_EXPORT ISendHeartBeat {
public:
    virtual ~ISendHeartBeat();

    virtual WString toString() const = 0;
    /// Throws `NorqConnectException` if the connection is lost; anything else that it throws is logged and changes
    /// nothing.
    virtual void sendHeartBeat() = 0;

protected:
    ISendHeartBeat() = default;
    ISendHeartBeat(const ISendHeartBeat&) = default;
    ISendHeartBeat& operator=(const ISendHeartBeat&) = default;
};

} // namespace norq_std

#pragma once

#include "base/Export.h"
#include "base/WString.h"

namespace norq_std {

/// Hears of a connection that comes up or goes down.
///
/// All calls of one `ConnectionManager` come one after the other from its notification thread, without a lock, so that
/// a listener may call the manager. While one runs, the others wait, and changes queue up. What a listener throws is
/// logged and harms nobody. It may be told once more after its removal.
class NORQSTD_EXPORT IConnectionStatusListener {
public:
    virtual ~IConnectionStatusListener();

    virtual WString toString() const = 0;
    /// `host` is the text of the service that came up or was left.
    virtual void statusChanged(bool isUp, const WString& host) = 0;

protected:
    IConnectionStatusListener() = default;
    IConnectionStatusListener(const IConnectionStatusListener&) = default;
    IConnectionStatusListener& operator=(const IConnectionStatusListener&) = default;
};

} // namespace norq_std

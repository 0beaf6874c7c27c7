#pragma once

#include "base/Export.h"
#include "base/WString.h"

namespace norq_std {

/// Where a walk over a list of services begins, and how it goes on.
///
/// A policy knows neither the services nor how many there are: it remembers the index last tried and the one that last
/// answered, and may give an index behind the end of the list; whoever walks finds out and wraps. Any thread may call
/// any operation; `ConnectionManager` calls it with its own lock held, so a policy must not call the manager.
class NORQSTD_EXPORT IConnectionPolicy {
public:
    virtual ~IConnectionPolicy();

    /// The dotted class name.
    virtual WString getClassName() const = 0;
    /// -1 before the first.
    virtual int getIndexOfConnectionInfoInLastAttempt() const = 0;
    virtual int getIndexOfConnectionInfoInLastSuccessful() const = 0;
    /// The service to try next. `isRecovery`: the walk is one of the background; `isFirstAttempt`: it begins here.
    virtual int getIndexForNextConnectionAttempt(bool isRecovery, bool isFirstAttempt) const = 0;
    virtual void setIndexOfConnectionInfoInLastAttempt(int index) = 0;
    virtual void setIndexOfConnectionInfoInLastSuccessful(int index) = 0;
    virtual WString toString() const = 0;

protected:
    IConnectionPolicy() = default;
    IConnectionPolicy(const IConnectionPolicy&) = default;
    IConnectionPolicy& operator=(const IConnectionPolicy&) = default;
};

} // namespace norq_std

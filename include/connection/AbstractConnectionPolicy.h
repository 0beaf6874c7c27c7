#pragma once

#include "base/Object.h"
#include "base/ThreadAnnotations.h"
#include "concurrency/Lock.h"
#include "connection/IConnectionPolicy.h"

namespace norq_std {

/// What policies have in common: the two indices under a lock. A subclass chooses the next one.
class NORQSTD_EXPORT AbstractConnectionPolicy : public IConnectionPolicy, public Object {
public:
    AbstractConnectionPolicy();
    ~AbstractConnectionPolicy() override;

    static WString getClassNameStatic();

    WString getClassName() const override;
    int getIndexOfConnectionInfoInLastAttempt() const override;
    int getIndexOfConnectionInfoInLastSuccessful() const override;
    /// Any value is taken.
    void setIndexOfConnectionInfoInLastAttempt(int index) override;
    void setIndexOfConnectionInfoInLastSuccessful(int index) override;
    WString toString() const override;

private:
    mutable Lock lock;
    int indexOfLastAttempted NORQ_GUARDED_BY(lock) = -1;
    int indexOfLastSuccessful NORQ_GUARDED_BY(lock) = -1;
};

} // namespace norq_std

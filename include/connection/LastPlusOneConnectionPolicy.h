#pragma once

#include "connection/AbstractConnectionPolicy.h"

namespace norq_std {

/// Goes round: every attempt, a new walk's first one too, takes the service behind the one tried last. For services of
/// equal rank, among which a failure should move the client on.
class NORQSTD_EXPORT LastPlusOneConnectionPolicy : public AbstractConnectionPolicy {
public:
    ~LastPlusOneConnectionPolicy() override;

    static WString getClassNameStatic();

    WString getClassName() const override;
    int getIndexForNextConnectionAttempt(bool isRecovery, bool isFirstAttempt) const override;
    WString toString() const override;
};

} // namespace norq_std

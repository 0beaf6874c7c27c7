#pragma once

#include "connection/AbstractConnectionPolicy.h"

namespace norq_std {

/// Begins every walk with the first service. For a list in order of preference.
class NORQSTD_EXPORT ZeroStartConnectionPolicy : public AbstractConnectionPolicy {
public:
    ~ZeroStartConnectionPolicy() override;

    static WString getClassNameStatic();

    WString getClassName() const override;
    int getIndexForNextConnectionAttempt(bool isRecovery, bool isFirstAttempt) const override;
    WString toString() const override;
};

} // namespace norq_std

#pragma once

#include "base/Object.h"

namespace norq_std {

/// A task without arguments and without a result.
class NORQSTD_EXPORT Runnable : public Object {
public:
    ~Runnable() override;

    WString toString() const override;

    virtual void run() = 0;
};

} // namespace norq_std

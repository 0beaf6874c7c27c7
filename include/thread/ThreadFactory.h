#pragma once

#include "base/Object.h"

#include <memory>

namespace norq_std {

class Runnable;
class Thread;

/// Makes the threads of a pool. The caller owns what it gets, and starts it.
class NORQSTD_EXPORT ThreadFactory : public Object {
public:
    ~ThreadFactory() override;

    WString toString() const override;

    virtual std::shared_ptr<Thread> newThread(const std::shared_ptr<Runnable>& runnable) = 0;
};

} // namespace norq_std

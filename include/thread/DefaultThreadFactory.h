#pragma once

#include "concurrency/AtomicInteger.h"
#include "thread/ThreadFactory.h"

namespace norq_std {

/// Names its threads "<name>-thread-<n>", n from 0. Without a name it is "pool-<m>", m from 0 in the whole process.
/// Any thread may call any operation.
class NORQSTD_EXPORT DefaultThreadFactory : public ThreadFactory {
public:
    explicit DefaultThreadFactory(const WString& name);
    ~DefaultThreadFactory() override;

    WString toString() const override;

    /// Throws `NorqIllegalArgumentException` without a task.
    std::shared_ptr<Thread> newThread(const std::shared_ptr<Runnable>& runnable) override;

private:
    static AtomicInteger& poolNumber(); ///< of the process

    AtomicInteger threadNumber;
    WString namePrefix;
};

} // namespace norq_std

#pragma once

#include "base/Object.h"
#include "thread/Callable.h"
#include "thread/Runnable.h"

#include <memory>
#include <utility>

namespace norq_std {

class ThreadFactory;

/// Static makers of thread factories and of tasks with a result.
class NORQSTD_EXPORT Executors : public Object {
public:
    /// A task without a result, as one that gives a stored result.
    template <class T>
    class RunnableAdapter : public Callable<T> {
    public:
        RunnableAdapter(std::shared_ptr<Runnable> runnable, T value)
            : task(std::move(runnable))
            , result(std::move(value)) {}

        T call() override {
            task->run();
            return result;
        }

    private:
        std::shared_ptr<Runnable> task;
        T result;
    };

    ~Executors() override;

    WString toString() const override;

    /// A new `DefaultThreadFactory`.
    static std::shared_ptr<ThreadFactory> defaultThreadFactory(const WString& name);
    /// Runs the task and gives null. Throws `NorqIllegalArgumentException` without a task.
    static std::shared_ptr<Callable<void*>> callable(const std::shared_ptr<Runnable>& runnable);
};

extern template class Executors::RunnableAdapter<void*>;

} // namespace norq_std

#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <memory>

namespace norq_std {

class Runnable;

/// Something that carries out tasks, at once or later, on this thread or another. The library implements none.
class NORQSTD_EXPORT Executor {
public:
    virtual ~Executor();

    virtual WString toString() const;

    virtual void execute(const std::shared_ptr<Runnable>& task) = 0;

protected:
    Executor() = default;
    Executor(const Executor&) = default;
    Executor& operator=(const Executor&) = default;
};

} // namespace norq_std

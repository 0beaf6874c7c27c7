#pragma once

#include "base/Export.h"
#include "base/WString.h"

namespace norq_std {

/// A task with a result.
template <class T>
class NORQSTD_EXPORT Callable {
public:
    virtual ~Callable() = default;

    virtual WString toString() const { return u"Callable{}"; }

    virtual T call() = 0;

protected:
    Callable() = default;
    Callable(const Callable&) = default;
    Callable& operator=(const Callable&) = default;
};

extern template class Callable<void*>;

} // namespace norq_std

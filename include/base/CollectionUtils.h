#pragma once

#include "base/Export.h"

namespace norq_std {

/// Holds templates over the standard containers, each where it is used; it has no operation of its own.
class NORQSTD_EXPORT CollectionUtils {
public:
    virtual ~CollectionUtils() = default;

private:
    CollectionUtils() = default;
};

} // namespace norq_std

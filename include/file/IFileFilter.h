#pragma once

#include "base/Export.h"

namespace norq_std {

class File;

/// Selects files from a listing. A filter is not destroyed through this interface.
class NORQSTD_EXPORT IFileFilter {
public:
    virtual bool accept(const File& file) const = 0;

protected:
    IFileFilter() = default;
    IFileFilter(const IFileFilter&) = default;
    IFileFilter& operator=(const IFileFilter&) = default;
    ~IFileFilter() = default;
};

} // namespace norq_std

#pragma once

#include "file/IFileFilter.h"

namespace norq_std {

/// Accepts directories.
class NORQSTD_EXPORT DirectoryFilter : public IFileFilter {
public:
    bool accept(const File& file) const override;
};

} // namespace norq_std

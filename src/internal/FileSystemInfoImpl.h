#pragma once

#include "file/File.h"

#include <cstdint>

namespace norq_std_internal {

/// What the copies of a FileSystemInfo share.
class FileSystemInfoImpl {
public:
    explicit FileSystemInfoImpl(const norq_std::File& infoDirectory)
        : directory(infoDirectory) {}

    void refresh();

    const norq_std::File directory;
    std::uint64_t diskSpace = 0;
    std::uint64_t diskUsage = 0;
};

} // namespace norq_std_internal

#pragma once

#include "base/Object.h"
#include "file/File.h"

#include <cstdint>
#include <memory>

namespace norq_std_internal {
class FileSystemInfoImpl;
}

namespace norq_std {

/// How much a directory holds, and how much room its file system has: as of the last `refresh`, both 0 before the
/// first.
///
/// Copies share their values. No lock: one thread at a time for an object and its copies.
class NORQSTD_EXPORT FileSystemInfo : public Object {
public:
    explicit FileSystemInfo(const File& directory);
    FileSystemInfo(const FileSystemInfo& other) = default;
    FileSystemInfo& operator=(const FileSystemInfo& other) = default;
    ~FileSystemInfo() override;

    WString toString() const override;

    File getDirectory() const;
    /// Free bytes of the file system.
    std::uint64_t getDiskSpace() const;
    /// The sum of the lengths of all files in the directory and below, whatever their names are. Links are not
    /// followed and count nothing, nor does a directory that cannot be read; a file with several names counts for each.
    std::uint64_t getDiskUsage() const;

    /// Throws `NorqIOException`, and changes nothing, if the system cannot tell the free space.
    void refresh();

private:
    std::shared_ptr<norq_std_internal::FileSystemInfoImpl> impl;
};

} // namespace norq_std

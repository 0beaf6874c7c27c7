#pragma once

#include "base/WString.h"
#include "platform/FileSystem.h"

namespace norq_std_internal {

/// The path of a finished log file, and which file that was: when its turn for compression comes, the ring may have
/// gone round and be writing another under the same name.
class FinishedFile : public norq_std::WString {
public:
    explicit FinishedFile(const norq_std::WString& path)
        : norq_std::WString(path)
        , known(platform::fileStatus(path, status)) {}

    /// Whether this path leads to the file now.
    bool isAt(const norq_std::WString& path) const {
        platform::FileStatus now;
        return known && platform::fileStatus(path, now) && now.isSameFile(status);
    }

private:
    platform::FileStatus status;
    bool known;
};

} // namespace norq_std_internal

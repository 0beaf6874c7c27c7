#pragma once

#include "LineSplitter.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <sys/types.h>

namespace shipper {

/// A log file that grows, is rotated and truncated. `update` ships what is new in it.
///
/// **Renamed** and made anew: the old file is read on under its new name, since its writer may not have noticed yet,
/// until the new one has its first bytes. **Truncated** in place: it is read from the start. That it was truncated and
/// has grown again shows by the bytes in front of the place where reading had stopped; what was written and truncated
/// between two looks cannot be read by anybody.
///
/// For one thread.
class FollowedFile {
public:
    FollowedFile(std::string path, BatchQueue& queue);
    ~FollowedFile();
    FollowedFile(const FollowedFile&) = delete;
    FollowedFile& operator=(const FollowedFile&) = delete;

    void update();
    /// Ships what is left, a last line without an end included.
    void finish();

    const std::string& getPath() const { return path; }
    /// The path of a renamed file that is still read, else empty.
    std::string oldPath() const;

private:
    /// An open file, and how far it has been read.
    struct Reading {
        Reading(int opened, const std::shared_ptr<const norq_std::WString>& source, BatchQueue& queue);
        ~Reading();

        bool isAt(const std::string& name) const;
        bool wasTruncated() const;
        bool isEmpty() const;
        void restart();
        void drain();

        int descriptor;
        off_t offset = 0;
        std::string last; ///< bytes in front of the offset
        LineSplitter lines;
    };

    void openNew();

    const std::string path;
    const std::shared_ptr<const norq_std::WString> source;
    BatchQueue& queue;
    std::unique_ptr<Reading> current;
    std::unique_ptr<Reading> old;
    int openError = 0; ///< that was told already
};

} // namespace shipper

#pragma once

#include "file/LockedFile.h"

namespace norq_std_internal {

/// Closes a file when a scope ends. The file stays another's.
class CloseAtEnd {
public:
    explicit CloseAtEnd(norq_std::LockedFile& openFile)
        : file(openFile) {}
    ~CloseAtEnd() { file.close(); }
    CloseAtEnd(const CloseAtEnd&) = delete;
    CloseAtEnd& operator=(const CloseAtEnd&) = delete;

private:
    norq_std::LockedFile& file;
};

} // namespace norq_std_internal

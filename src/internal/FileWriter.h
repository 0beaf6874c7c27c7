#pragma once

#include "base/WString.h"
#include "platform/FileHandle.h"

#include <cstddef>
#include <cstdint>

namespace norq_std_internal {

/// Writes to a file so that a failure leaves nothing that could be taken for whole: see FileUtils.
///
/// Every call but the constructor is for an open writer, and false is the end of it: what has been done is undone, and
/// the last error tells why.
class FileWriter {
public:
    enum class Mode : std::uint8_t { Overwrite, Append };

    FileWriter(norq_std::WString path, Mode mode);
    /// Undoes what was not finished.
    ~FileWriter();
    FileWriter(const FileWriter&) = delete;
    FileWriter& operator=(const FileWriter&) = delete;

    bool isOpen() const { return handle.isOpen(); }

    /// To be called first: drops what the file holds, once there is room for this many bytes.
    bool begin(std::uint64_t bytes);
    bool write(const void* bytes, std::size_t count);
    bool finish();

private:
    void undo();

    const norq_std::WString path;
    const Mode mode;
    bool created = false;
    platform::FileHandle handle;
    const bool regular;
    const std::uint64_t sizeBefore;
    std::uint64_t written = 0;
};

} // namespace norq_std_internal

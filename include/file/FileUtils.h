#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstdint>
#include <memory>

namespace norq_std {

class ByteArray;
class ByteBuffer;
class File;

/// Whole files: read, written, appended to, copied and compared; and the line ends of text.
///
/// An empty name is traced and answered with null, 0 or false. Names are paths as `File` takes them; one that is not
/// valid throws `NorqIllegalArgumentException`.
///
/// What is written is there whole, or the call reports a failure and leaves nothing that could be taken for whole.
/// After a failure a file that the call has made is gone; a file that was there keeps its content if the disk has no
/// room for the new one, and is empty if it fails half-way; and what was appended is cut off again. (A process that is
/// killed half-way leaves what was written until then: to replace a file in one step, write another one and rename it.)
///
/// No state; any thread may call. Nothing is locked against other users of a file: see `LockedFile`.
class NORQSTD_EXPORT FileUtils {
public:
    virtual ~FileUtils();

    static bool isFileExist(const WString& name);
    /// In bytes.
    static std::uint64_t getFileSize(const WString& name);

    /// Copies as many bytes as the source has at the start. Throws `NorqIllegalArgumentException`, and touches nothing,
    /// if the source is no readable file, or the target a directory, not writable, in no directory, or the source
    /// itself; `NorqIOException` if the system fails.
    static void copyFile(const File& source, const File& target);

    /// The bytes of a file: an empty array for an empty file, null if it cannot be read or is too long for an array
    /// (2147483647 bytes). A file that becomes shorter meanwhile gives what it still has.
    static std::shared_ptr<ByteArray> getFileContent(const WString& name);
    /// The same, between position 0 and limit.
    static std::shared_ptr<ByteBuffer> getFileContentBuffer(const WString& name);

    /// Makes the file if it is missing. Of a buffer the bytes from position to limit are written, and the position
    /// stays. False on failure.
    static bool writeFileContent(const WString& name, const ByteArray& content);
    static bool writeFileContent(const WString& name, const ByteBuffer& content);
    static bool appendFileContent(const WString& name, const ByteArray& content);
    static bool appendFileContent(const WString& name, const ByteBuffer& content);

    /// Whether both can be read and are equal.
    static bool compareFileContents(const WString& firstName, const WString& secondName);

    /// Replaces each line end ("\r\n", "\r" or "\n") by `newline`.
    static void normalizeNewlines(WString& text, const WString& newline);
    static WString normalizeNewlinesCopy(const WString& text, const WString& newline);
    /// The same in the encodings of `ByteArray`.
    static std::shared_ptr<ByteArray> normalizeNewlinesCopy(const ByteArray& text, const WString& newline,
                                                            const WString& encoding);

private:
    FileUtils() = default;
};

} // namespace norq_std

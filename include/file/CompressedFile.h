#pragma once

#include "base/Object.h"

#include <cstdint>
#include <memory>

namespace norq_std_internal {
class CompressedFileImpl;
}

namespace norq_std {

class ByteArray;
class File;

/// A gzip file, read or written from start to end.
///
/// Files of several members, one behind the other, read as one. The size that `read` without a length goes by is what
/// the file's last four bytes say: the length of the last member, modulo 2^32. For a file of one member below 2 GiB
/// that is the whole content; for others read pieces until `isEof`. A file that is not compressed is read as it is, and
/// its last bytes mean nothing.
///
/// Data is checked while it is read: what is damaged, or cut off, throws. What was written is complete once `close` has
/// returned. No lock: an object belongs to one thread at a time.
class NORQSTD_EXPORT CompressedFile : public Object {
public:
    enum AccessType : int { Read = 0, Write = 1 };
    enum CompressionLevel : int { DefaultLevel = 0, None = 1, Fastest = 2, Best = 3 };
    enum CompressionStrategy : int { DefaultStrategy = 0, Filtered = 1, Huffman = 2 };
    enum FlushType : int {
        SyncFlush = 0,   ///< what was written so far can be read
        FullFlush = 1,   ///< and reading can start here again
        FinishFlush = 2, ///< and what follows is a member of its own
    };

    CompressedFile();
    CompressedFile(const CompressedFile&) = delete;
    CompressedFile& operator=(const CompressedFile&) = delete;
    /// Closes; a failure is a line of debug log.
    ~CompressedFile() override;

    WString toString() const override;

    virtual bool isOpen() const;
    virtual AccessType getAccessType() const;
    virtual CompressionLevel getCompressionLevel() const;
    virtual CompressionStrategy getCompressionStrategy() const;

    /// Count from here on in a file open for writing, else from the next `open`. `NorqIOException` for a file open for
    /// reading.
    virtual void setCompressionLevel(CompressionLevel level);
    virtual void setCompressionStrategy(CompressionStrategy strategy);

    /// Closes, and opens the file; for writing it is made, or emptied. Throws `NorqIOException` if the system refuses.
    virtual void open(const File& file, AccessType accessType);
    /// Throws `NorqIOException` if the last of what was written cannot be kept. The file is closed all the same.
    virtual void close();

    // On a closed file, or one open for the other access, these throw `NorqIllegalStateException`; where the system or
    // the data fails, `NorqIOException`.

    /// Whether a read has met the end.
    virtual bool isEof() const;
    virtual void rewind();
    /// The next bytes, fewer than asked for at the end. A file whose last member is empty cannot be read.
    virtual std::shared_ptr<ByteArray> read(std::int32_t length);
    virtual std::shared_ptr<ByteArray> read();
    /// An empty array counts as a failed write.
    virtual void write(const ByteArray& bytes);
    virtual void flush(FlushType flushType);

    static WString accessTypeToString(AccessType accessType);
    static WString compressionLevelToString(CompressionLevel level);
    static WString compressionStrategyToString(CompressionStrategy strategy);

private:
    const std::shared_ptr<norq_std_internal::CompressedFileImpl> impl;
};

} // namespace norq_std

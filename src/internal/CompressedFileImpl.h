#pragma once

#include "base/WString.h"
#include "file/CompressedFile.h"

#include <cstdint>
#include <memory>
#include <zlib.h>

namespace norq_std_internal {

/// The open file of a CompressedFile.
class CompressedFileImpl {
public:
    using File = norq_std::CompressedFile;

    CompressedFileImpl() = default;
    CompressedFileImpl(const CompressedFileImpl&) = delete;
    CompressedFileImpl& operator=(const CompressedFileImpl&) = delete;
    virtual ~CompressedFileImpl();

    bool isOpen() const { return file != nullptr; }
    File::AccessType getAccessType() const { return accessType; }
    File::CompressionLevel getLevel() const { return level; }
    File::CompressionStrategy getStrategy() const { return strategy; }

    void setParameters(File::CompressionLevel newLevel, File::CompressionStrategy newStrategy);
    void open(const norq_std::WString& openPath, File::AccessType openType);
    void close();
    bool isEof() const;
    void rewind();
    std::uint32_t getUncompressedSize() const;
    std::shared_ptr<norq_std::ByteArray> read(std::int32_t length);
    void write(const norq_std::ByteArray& bytes);
    void flush(File::FlushType flushType);

private:
    void checkOpen() const;
    void checkReading() const;
    void checkWriting() const;
    std::int32_t readable(std::int32_t length) const;

    gzFile file = nullptr;
    std::uint32_t uncompressedSize = 0;
    norq_std::WString path;
    File::AccessType accessType = File::Read;
    File::CompressionLevel level = File::DefaultLevel;
    File::CompressionStrategy strategy = File::DefaultStrategy;
};

} // namespace norq_std_internal

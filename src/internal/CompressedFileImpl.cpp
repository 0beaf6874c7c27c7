#include "internal/CompressedFileImpl.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "base/StringUtils.h"
#include "exception/NorqException.h"
#include "internal/RawBytes.h"
#include "platform/CancellationShield.h"
#include "platform/Error.h"
#include "platform/FileHandle.h"
#include "platform/FileSystem.h"
#include "stream/ByteArray.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string>

namespace norq_std_internal {

using norq_std::ByteArray;
using norq_std::ErrorUtils;
using norq_std::NorqIllegalArgumentException;
using norq_std::NorqIllegalStateException;
using norq_std::NorqIOException;
using norq_std::StringUtils;
using norq_std::WChar;
using norq_std::WString;

namespace {

constexpr unsigned BufferSize = 64 * 1024;

struct Parameter {
    const char* mode;
    int value;
};

Parameter levelParameter(CompressedFileImpl::File::CompressionLevel level) {
    constexpr Parameter Levels[] = {{"", Z_DEFAULT_COMPRESSION}, {"0", 0}, {"1", 1}, {"9", 9}};
    const auto row = static_cast<unsigned>(level);
    return Levels[row < std::size(Levels) ? row : 0];
}

Parameter strategyParameter(CompressedFileImpl::File::CompressionStrategy strategy) {
    constexpr Parameter Strategies[] = {{"", Z_DEFAULT_STRATEGY}, {"f", Z_FILTERED}, {"h", Z_HUFFMAN_ONLY}};
    const auto row = static_cast<unsigned>(strategy);
    return Strategies[row < std::size(Strategies) ? row : 0];
}

int flushConstant(CompressedFileImpl::File::FlushType type) {
    constexpr int Constants[] = {Z_SYNC_FLUSH, Z_FULL_FLUSH, Z_FINISH};
    const auto row = static_cast<unsigned>(type);
    return row < std::size(Constants) ? Constants[row] : Z_NO_FLUSH;
}

/// Sets the last error from the system's, or for damaged data, as `result` tells.
void keepError(int result) {
    if (result == Z_ERRNO && errno != 0)
        platform::setLastErrorFromNative();
    else
        platform::setLastError(result == Z_MEM_ERROR ? platform::NotEnoughMemory : platform::InvalidData);
}

[[noreturn]] void fail(const WChar* message) {
    const std::int32_t error = ErrorUtils::getLastError();
    throw NorqIOException(message + ErrorUtils::getErrorDescription(error), error);
}

[[noreturn]] void fail(const WChar* message, gzFile file) {
    int result = Z_OK;
    gzerror(file, &result);
    if (result == Z_OK)
        platform::setLastError(platform::NoError);
    else
        keepError(result);
    fail(message);
}

std::uint32_t readUncompressedSize(const WString& path) {
    constexpr const WChar* Function = u"norq_std_internal::CompressedFileImpl::readUncompressedSize";
    platform::FileHandle handle = platform::openFile(path, platform::OpenMode::Read);
    if (!handle.isOpen()) {
        NORQ_LOG(norq_std::DEBUG, Function, u"Unable to open file to get uncompressed file size.");
        return 0;
    }
    unsigned char tail[4];
    std::uint64_t size = 0;
    if (!handle.size(size) || size < sizeof tail || !handle.seekTo(size - sizeof tail) ||
        handle.read(tail, sizeof tail) != sizeof tail) {
        NORQ_LOG(norq_std::DEBUG, Function, u"Unable to get uncompressed file size.");
        return 0;
    }
    return tail[0] | static_cast<std::uint32_t>(tail[1]) << 8 | static_cast<std::uint32_t>(tail[2]) << 16 |
           static_cast<std::uint32_t>(tail[3]) << 24;
}

} // namespace

CompressedFileImpl::~CompressedFileImpl() {
    const platform::CancellationShield shield;
    try {
        close();
    } catch (const NorqIOException& failure) {
        failure.logDebug(u"norq_std_internal::CompressedFileImpl::~CompressedFileImpl");
    }
}

void CompressedFileImpl::setParameters(File::CompressionLevel newLevel, File::CompressionStrategy newStrategy) {
    if (file != nullptr &&
        gzsetparams(file, levelParameter(newLevel).value, strategyParameter(newStrategy).value) != Z_OK)
        throw NorqIOException(u"Unable to set compression level or strategy.");
    level = newLevel;
    strategy = newStrategy;
}

void CompressedFileImpl::open(const WString& openPath, File::AccessType openType) {
    ErrorUtils::isEmptyEx(openPath, u"norq_std_internal::CompressedFileImpl::open", u"path");
    close();
    if (openType != File::Read && openType != File::Write)
        throw NorqIllegalArgumentException(u"Invalid accessType specified");
    const std::uint32_t size = openType == File::Read ? readUncompressedSize(openPath) : 0;
    // "e" keeps the file from programs that the process starts.
    const std::string mode = std::string(openType == File::Read ? "rb" : "wb") + levelParameter(level).mode +
                             strategyParameter(strategy).mode + "e";
    constexpr const WChar* Failure = u"Error creating or opening compressed file: ";
    platform::FileStatus status;
    if (platform::fileStatus(openPath, status) && status.isDirectory()) {
        platform::setLastError(platform::AccessDenied);
        fail(Failure);
    }
    const std::string native = platform::nativePath(openPath);
    if (native.empty())
        fail(Failure);
    errno = 0;
    file = gzopen(native.c_str(), mode.c_str());
    if (file == nullptr) {
        keepError(errno != 0 ? Z_ERRNO : Z_MEM_ERROR);
        fail(Failure);
    }
    gzbuffer(file, BufferSize);
    uncompressedSize = size;
    accessType = openType;
    path = openPath;
}

void CompressedFileImpl::close() {
    if (file == nullptr)
        return;
    errno = 0;
    const int result = gzclose(file);
    file = nullptr;
    path.clear();
    uncompressedSize = 0;
    if (result != Z_OK && accessType == File::Write) {
        keepError(result);
        fail(u"Error closing compressed file: ");
    }
}

bool CompressedFileImpl::isEof() const {
    checkReading();
    return gzeof(file) != 0;
}

void CompressedFileImpl::rewind() {
    checkReading();
    if (gzrewind(file) == -1)
        fail(u"Error rewinding file: ", file);
}

std::uint32_t CompressedFileImpl::getUncompressedSize() const {
    checkReading();
    return uncompressedSize;
}

std::shared_ptr<ByteArray> CompressedFileImpl::read(std::int32_t length) {
    checkReading();
    ErrorUtils::isBelowMinEx(length, 1, u"norq_std_internal::CompressedFileImpl::read",
                             u"Number of bytes requested is less than 1.");
    if (uncompressedSize == 0)
        throw NorqIOException(u"Read file failed. File is empty");
    length = readable(length);
    auto bytes = RawBytes::make(length);
    errno = 0;
    const int count = gzread(file, bytes->getArray().get(), static_cast<unsigned>(length));
    int result = Z_OK;
    gzerror(file, &result);
    if (count < 0 || (count < length && result != Z_OK)) // the second is data that is cut off
        fail(u"Read file failed. Error: ", file);
    RawBytes::shorten(*bytes, count);
    return bytes;
}

void CompressedFileImpl::write(const ByteArray& bytes) {
    checkWriting();
    errno = 0;
    const int count = gzwrite(file, bytes.getArray().get(), static_cast<unsigned>(bytes.getLength()));
    if (count == 0)
        fail(u"Write file failed. Error: ", file);
    if (count != bytes.getLength())
        throw NorqIOException(StringUtils::format(u"Write failed, wrote %u bytes instead of %d bytes.",
                                                  static_cast<unsigned>(count), bytes.getLength()));
}

void CompressedFileImpl::flush(File::FlushType flushType) {
    checkWriting();
    errno = 0;
    if (gzflush(file, flushConstant(flushType)) != Z_OK)
        fail(u"Unable to flush compressed file: ", file);
}

void CompressedFileImpl::checkOpen() const {
    if (file == nullptr)
        throw NorqIllegalStateException(u"CompressedFile is not open.");
}

void CompressedFileImpl::checkReading() const {
    checkOpen();
    if (accessType != File::Read)
        throw NorqIllegalStateException(u"CompressedFile is not open for reading.");
}

void CompressedFileImpl::checkWriting() const {
    checkOpen();
    if (accessType != File::Write)
        throw NorqIllegalStateException(u"CompressedFile is not open for writing.");
}

/// The length, bounded by what a file of this size can hold, since its last bytes may say anything.
std::int32_t CompressedFileImpl::readable(std::int32_t length) const {
    constexpr std::int32_t Unchecked = 1024 * 1024;
    constexpr std::uint64_t LargestRatio = 1032; // of deflate: 258 bytes for two bits
    platform::FileStatus status;
    if (length <= Unchecked || !platform::fileStatus(path, status))
        return length;
    const std::uint64_t most = status.size * LargestRatio + Unchecked;
    return most < static_cast<std::uint64_t>(length) ? static_cast<std::int32_t>(most) : length;
}

} // namespace norq_std_internal

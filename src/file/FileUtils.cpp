#include "file/FileUtils.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "internal/FileWriter.h"
#include "internal/RawBytes.h"
#include "platform/Error.h"
#include "platform/FileHandle.h"
#include "platform/FileSystem.h"
#include "stream/ByteArray.h"
#include "stream/ByteBuffer.h"

#include <algorithm>
#include <limits>

namespace norq_std {

namespace platform = norq_std_internal::platform;
using norq_std_internal::FileWriter;
using norq_std_internal::RawBytes;

namespace {

bool isEmpty(const WString& name, const WChar* display) {
    if (name.empty())
        NORQ_LOG(DEBUG, u"norq_std::FileUtils", u"%ls value is empty.", display);
    return name.empty();
}

/// Empty, which cannot be opened, if there is no working directory for it.
WString canonicalPath(const WString& name) {
    try {
        return File(name).getCanonicalPath();
    } catch (const NorqIOException& failure) {
        NORQ_LOG(DEBUG, u"norq_std::FileUtils", u"Could not get canonical path: '%ls'", failure.getMessage());
        return {};
    }
}

/// The length of an array for the whole file; false if there can be none.
bool arrayLength(const platform::FileHandle& handle, const WChar* function, std::int32_t& length) {
    const std::uint64_t size = handle.sizeWhenOpened();
    length = size <= std::numeric_limits<std::int32_t>::max() ? static_cast<std::int32_t>(size) : -1;
    try {
        ErrorUtils::isBelowMinEx(length, 0, function, u"File size");
        return true;
    } catch (const NorqIllegalArgumentException&) {
        return false; // which the check has told
    }
}

platform::FileHandle openToRead(const WString& name, const WChar* function) {
    platform::FileHandle handle = platform::openFile(canonicalPath(name), platform::OpenMode::Read);
    if (!handle.isOpen())
        ErrorUtils::isNull(nullptr, function, u"File handle", ErrorUtils::getLastError());
    return handle;
}

/// The number of bytes that the file gave; -1, with a line, if it cannot be read.
std::int32_t readInto(platform::FileHandle& handle, unsigned char* bytes, std::int32_t length) {
    const std::int64_t count = handle.read(bytes, static_cast<std::size_t>(length));
    if (count < 0)
        NORQ_LOG(DEBUG, u"norq_std::FileUtils", u"Unable to read from file: %ls",
                 ErrorUtils::getLastErrorDescription());
    return static_cast<std::int32_t>(count);
}

bool writeContent(const WString& name, const unsigned char* bytes, std::int32_t length, FileWriter::Mode mode) {
    if (isEmpty(name, u"Filename"))
        return false;
    FileWriter writer(canonicalPath(name), mode);
    const auto count = static_cast<std::size_t>(length);
    const bool done = writer.isOpen() && writer.begin(count) && writer.write(bytes, count) && writer.finish();
    if (!done)
        NORQ_LOG(DEBUG, u"norq_std::FileUtils", u"Unable to write to file: %ls", ErrorUtils::getLastErrorDescription());
    return done;
}

bool writeContent(const WString& name, const ByteArray& content, FileWriter::Mode mode) {
    return writeContent(name, content.getArray().get(), content.getLength(), mode);
}

bool writeContent(const WString& name, const ByteBuffer& content, FileWriter::Mode mode) {
    return writeContent(name, content.array() + content.getPosition(), content.remaining(), mode);
}

[[noreturn]] void refuse(const WChar* text, const File& file, const WChar* rest = u"") {
    throw NorqIllegalArgumentException(text + file.getPath() + rest);
}

[[noreturn]] void fail(const WChar* text) {
    const std::int32_t error = ErrorUtils::getLastError();
    throw NorqIOException(text + ErrorUtils::getErrorDescription(error), error);
}

void checkCopy(const File& source, const File& target) {
    if (!source.isFile() || !source.canRead())
        refuse(u"Source file (", source, u") is invalid or unreadable.");
    if (target.isDirectory())
        refuse(u"Destination file is a directory: ", target);
    if (target.exists() && !target.canWrite())
        refuse(u"Destination file cannot be written: ", target);
    if (!target.getCanonicalFile().getParentFile().exists())
        refuse(u"Parent directory for destination file does not exist: ", target);
    platform::FileStatus from;
    platform::FileStatus to;
    if (platform::fileStatus(source.getCanonicalPath(), from) && platform::fileStatus(target.getCanonicalPath(), to) &&
        from.isSameFile(to))
        refuse(u"Source file and destination file are the same: ", target);
}

} // namespace

FileUtils::~FileUtils() = default;

bool FileUtils::isFileExist(const WString& name) { return !isEmpty(name, u"Filename") && File(name).exists(); }

std::uint64_t FileUtils::getFileSize(const WString& name) {
    return isEmpty(name, u"Filename") ? 0 : File(name).getLength();
}

void FileUtils::copyFile(const File& source, const File& target) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileUtils::copyFile");
    constexpr std::size_t BlockSize = 4096;
    checkCopy(source, target);
    platform::FileHandle from = platform::openFile(source.getCanonicalPath(), platform::OpenMode::Read);
    if (!from.isOpen())
        fail(u"");
    std::uint64_t rest = from.sizeWhenOpened();
    FileWriter to(target.getCanonicalPath(), FileWriter::Mode::Overwrite);
    if (!to.isOpen())
        fail(u"");
    if (!to.begin(rest))
        fail(u"Unable to write to file: ");
    unsigned char block[BlockSize];
    while (rest > 0) {
        const std::int64_t count = from.read(block, static_cast<std::size_t>(std::min<std::uint64_t>(rest, BlockSize)));
        if (count == 0)
            platform::setLastError(platform::NoMoreItems);
        if (count <= 0)
            fail(u"Unable to read from file: ");
        if (!to.write(block, static_cast<std::size_t>(count)))
            fail(u"Unable to write to file: ");
        rest -= static_cast<std::uint64_t>(count);
    }
    if (!to.finish())
        fail(u"Unable to write to file: ");
}

std::shared_ptr<ByteArray> FileUtils::getFileContent(const WString& name) {
    constexpr const WChar* Function = u"norq_std::FileUtils::getFileContent";
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileUtils::getFileContent");
    if (isEmpty(name, u"Filename"))
        return nullptr;
    platform::FileHandle handle = openToRead(name, Function);
    std::int32_t length = 0;
    if (!handle.isOpen() || !arrayLength(handle, Function, length))
        return nullptr;
    auto content = RawBytes::make(length);
    const std::int32_t count = readInto(handle, content->getArray().get(), length);
    if (count < 0)
        return nullptr;
    RawBytes::shorten(*content, count);
    return content;
}

std::shared_ptr<ByteBuffer> FileUtils::getFileContentBuffer(const WString& name) {
    constexpr const WChar* Function = u"norq_std::FileUtils::getFileContentBuffer";
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileUtils::getFileContentBuffer");
    if (isEmpty(name, u"Filename"))
        return nullptr;
    platform::FileHandle handle = openToRead(name, Function);
    std::int32_t length = 0;
    if (!handle.isOpen() || !arrayLength(handle, Function, length))
        return nullptr;
    auto content = ByteBuffer::allocate(length);
    const std::int32_t count = readInto(handle, content->array(), length);
    if (count < 0)
        return nullptr;
    content->setLimit(count);
    return content;
}

bool FileUtils::writeFileContent(const WString& name, const ByteArray& content) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileUtils::writeFileContent");
    return writeContent(name, content, FileWriter::Mode::Overwrite);
}

bool FileUtils::writeFileContent(const WString& name, const ByteBuffer& content) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileUtils::writeFileContent");
    return writeContent(name, content, FileWriter::Mode::Overwrite);
}

bool FileUtils::appendFileContent(const WString& name, const ByteArray& content) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileUtils::appendFileContent");
    return writeContent(name, content, FileWriter::Mode::Append);
}

bool FileUtils::appendFileContent(const WString& name, const ByteBuffer& content) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileUtils::appendFileContent");
    return writeContent(name, content, FileWriter::Mode::Append);
}

bool FileUtils::compareFileContents(const WString& firstName, const WString& secondName) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileUtils::compareFileContents");
    if (isEmpty(firstName, u"First filename") || isEmpty(secondName, u"Second filename"))
        return false;
    const auto first = getFileContent(firstName);
    const auto second = first ? getFileContent(secondName) : nullptr;
    return second && *first == *second;
}

void FileUtils::normalizeNewlines(WString& text, const WString& newline) {
    text = normalizeNewlinesCopy(text, newline);
}

WString FileUtils::normalizeNewlinesCopy(const WString& text, const WString& newline) {
    WString result;
    result.reserve(text.size());
    for (std::size_t start = 0;;) {
        const std::size_t end = text.find_first_of(u"\r\n", start);
        result.append(text, start, end - start);
        if (end == WString::npos)
            return result;
        result += newline;
        start = end + (text[end] == u'\r' && end + 1 < text.size() && text[end + 1] == u'\n' ? 2 : 1);
    }
}

std::shared_ptr<ByteArray> FileUtils::normalizeNewlinesCopy(const ByteArray& text, const WString& newline,
                                                            const WString& encoding) {
    return std::make_shared<ByteArray>(normalizeNewlinesCopy(text.toWString(encoding), newline), encoding);
}

} // namespace norq_std

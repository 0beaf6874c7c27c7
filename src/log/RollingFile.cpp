#include "log/RollingFile.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "base/StringUtils.h"
#include "concurrency/AutoLock.h"
#include "config/ConfigurationFile.h"
#include "exception/NorqException.h"
#include "file/FileUtils.h"
#include "file/SmartFileHandle.h"
#include "log/RollingFileHeader.h"
#include "platform/FileHandle.h"
#include "stream/ByteArray.h"

#include <algorithm>
#include <charconv>
#include <cxxabi.h>
#include <utility>

namespace norq_std {

namespace platform = norq_std_internal::platform;
using Guard = AutoLock<Lock>;

namespace {

constexpr const WChar* INDEX_KEY = u"IndexOfLastLog";
constexpr std::uint32_t LARGEST_SIZE = 0x7FFFFFFF;

// Near the limit the real size is looked at, and the nearer the more often.
constexpr double REFRESH_FROM = 0.95;
constexpr double REFRESH_FACTOR = 1.992;

/// A decimal number; 1 for any other text.
std::uint32_t indexOf(const WString& text) {
    std::string digits;
    for (const WChar unit : text)
        digits += unit < 0x80 ? static_cast<char>(unit) : '?';
    std::uint32_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number);
    return error == std::errc() && stop == end ? number : 1;
}

} // namespace

/// The way from one file to the next.
class RollingFile::Move {
public:
    explicit Move(RollingFile& file)
        : moving(file.moving)
        , before(std::exchange(moving, true)) {}
    ~Move() { moving = before; }
    Move(const Move&) = delete;
    Move& operator=(const Move&) = delete;

private:
    bool& moving;
    const bool before;
};

RollingFileObserver::~RollingFileObserver() = default;

void RollingFileHeader::callWriteHeader(RollingFile& rollingFile) {
    try {
        writeHeader(rollingFile);
    } catch (const NorqException& e) {
        NORQ_LOG(DEBUG, u"norq_std::RollingFileHeader::callWriteHeader", u"Unable to write header: %ls",
                 e.getMessage());
    }
}

RollingFile::RollingFile()
    : Observable(WString()) {}

RollingFile::~RollingFile() = default;

WString RollingFile::toString() const {
    const Guard guard(lock);
    return StringUtils::format(u"RollingFile{path='%ls%lc%ls%ls',index='%u',maxSize='%u',maxFiles='%u'}",
                               directory.getPath(), File::pathSeparator, baseName, extension, index, maxSize, maxFiles);
}

void RollingFile::setFilePath(const File& file) {
    const WString name = file.getName();
    const std::size_t dot = name.rfind(u'.');
    if (dot == name.npos || file.isDirectory())
        throw NorqIllegalArgumentException(u"Invalid value for filename.");
    const Guard guard(lock);
    const Move move(*this);
    close();
    directory = file.getParentFile();
    baseName = name.substr(0, dot);
    extension = name.substr(dot);
    index = 0;
    rollPending = true;
    updateIndex();
    rollPending = false;
}

WString RollingFile::getFilePath() const {
    const Guard guard(lock);
    const WString folder = directory.getPath();
    if (folder.empty() || baseName.empty() || extension.empty())
        return {};
    return StringUtils::format(u"%ls%lc%ls%04u%ls", folder, File::pathSeparator, baseName, index, extension);
}

void RollingFile::setMaximumSize(std::uint32_t bytes) {
    const Guard guard(lock);
    maxSize = std::min(bytes, LARGEST_SIZE);
    if (maxSize != 0)
        rolloverIfNecessary(0);
}

std::uint32_t RollingFile::getMaximumSize() const {
    const Guard guard(lock);
    return maxSize;
}

void RollingFile::setMaximumFiles(std::uint32_t count) {
    const Guard guard(lock);
    maxFiles = count;
}

std::uint32_t RollingFile::getMaximumFiles() const {
    const Guard guard(lock);
    return maxFiles;
}

bool RollingFile::isOpen() const {
    const Guard guard(lock);
    return fileHandle != nullptr;
}

void RollingFile::open() {
    const Guard guard(lock);
    if (moving) // whoever is told of the move, or logs during it, must not begin a file of its own in between
        return;
    const Move move(*this);
    if (rollPending)
        openNext();
    else
        openCurrent();
}

void RollingFile::openNext() {
    rollPending = true;
    updateIndex();
    rollPending = false;
    openCurrent();
}

void RollingFile::openCurrent() {
    size = 0;
    const WString path = getFilePath();
    if (path.empty())
        throw NorqIOException(u"Current path is invalid or has not been set.");
    const File file(path);
    if (file.exists() && file.getLength() >= maxSize && !file.remove())
        throw NorqIOException(u"File is already at maximum size, and cannot be removed.");
    auto opened = std::make_unique<SmartFileHandle<int>>(path, platform::appendFlags, platform::ownerOnly);
    if (!opened->isOpen())
        throw NorqIOException(u"Unable to open file: " + ErrorUtils::getLastErrorDescription());
    fileHandle = std::move(opened);
    updateSize();
    writeHeaders();
}

void RollingFile::close() {
    const Guard guard(lock);
    if (!fileHandle)
        return;
    const File finished(getFilePath());
    fileHandle.reset();
    do_notify([&](const std::shared_ptr<RollingFileObserver>& observer) { observer->onCloseNotify(finished); });
}

std::uint32_t RollingFile::write(const unsigned char* buffer, std::uint32_t offset, std::uint32_t count) {
    const Guard guard(lock);
    if (!fileHandle)
        throw NorqIllegalStateException(u"File must be open first.");
    checkFits(count);
    if (buffer == nullptr)
        throw NorqIllegalArgumentException(u"Buffer cannot be null.");
    const std::string_view bytes(reinterpret_cast<const char*>(buffer) + offset, count);
    writeLines({&bytes, 1});
    return count;
}

void RollingFile::checkFits(std::uint64_t count) const {
    if (count > maxSize)
        throw NorqIllegalArgumentException(
            StringUtils::format(u"Number of bytes to write <%llu> exceeds maximum file size <%u>.", count, maxSize));
}

std::size_t RollingFile::writeLines(std::span<const std::string_view> lines) {
    const Guard guard(lock);
    if (!fileHandle)
        return 0;
    const std::string_view first = lines.front();
    checkFits(first.size());
    rolloverIfNecessary(static_cast<std::uint32_t>(first.size()));
    std::uint64_t end = std::uint64_t{size} + first.size();
    std::size_t fitting = 1;
    while (fitting < lines.size() && end + lines[fitting].size() <= maxSize)
        end += lines[fitting++].size();
    const std::size_t written = platform::appendPieces(fileHandle->get(), lines.first(fitting));
    for (const std::string_view line : lines.first(written))
        size += static_cast<std::uint32_t>(line.size());
    writesSinceRefresh += static_cast<std::int32_t>(written);
    if (written == 0)
        throw NorqIOException(u"Unable to write file: " + ErrorUtils::getLastErrorDescription());
    return written;
}

void RollingFile::rolloverIfNecessary(std::uint32_t pendingBytes) {
    if (maxSize == 0)
        return;
    updateSize();
    if (static_cast<std::uint64_t>(pendingBytes) + size <= maxSize)
        return;
    if (size < maxSize) {
        try {
            pad();
        } catch (const NorqException& e) {
            throw NorqIOException(u"Unable to pad rolling file.", e);
        }
    }
    const Move move(*this);
    close();
    openNext();
}

void RollingFile::pad() {
    const std::vector<unsigned char> blanks(maxSize - size, ' ');
    write(blanks.data(), 0, static_cast<std::uint32_t>(blanks.size()));
}

void RollingFile::updateSize() {
    if (size != 0 && size <= REFRESH_FROM * maxSize)
        return;
    std::int32_t threshold = 0;
    if (size != 0) {
        const double ratio = static_cast<double>(size) / maxSize;
        threshold = static_cast<std::int32_t>(REFRESH_FACTOR / (ratio * ratio * ratio * ratio));
    }
    if (writesSinceRefresh < threshold)
        return;
    std::uint64_t length = 0;
    if (fileHandle && platform::descriptorSize(fileHandle->get(), length))
        size = static_cast<std::uint32_t>(std::min<std::uint64_t>(length, UINT32_MAX));
    writesSinceRefresh = 0;
}

void RollingFile::writeHeaders() {
    // A copy: a header may remove itself.
    for (const std::shared_ptr<RollingFileHeader>& header : std::vector(headers))
        header->callWriteHeader(*this);
}

void RollingFile::addHeader(const std::shared_ptr<RollingFileHeader>& header) {
    const Guard guard(lock);
    if (header && !hasHeader(header))
        headers.push_back(header);
}

bool RollingFile::hasHeader(const std::shared_ptr<RollingFileHeader>& header) const {
    const Guard guard(lock);
    return header && std::ranges::find(headers, header) != headers.end();
}

void RollingFile::removeHeader(const std::shared_ptr<RollingFileHeader>& header) {
    const Guard guard(lock);
    std::erase(headers, header);
}

File RollingFile::getIndexFile() const { return File(directory, baseName + u"_" + extension.substr(1) + u".idx"); }

void RollingFile::updateIndex() {
    const File indexFile = getIndexFile();
    ConfigurationFile config(indexFile, nullptr);
    std::uint32_t onDisk = 0;
    try {
        config.load();
        onDisk = indexOf(config.getValue(INDEX_KEY, Configuration::defaultSection));
    } catch (const NorqException&) {
        config.appendElement(ConfigurationElement(u"NorqLog - DO NOT EDIT"), Configuration::defaultSection);
    }
    if (onDisk != index) {
        index = onDisk;
        return;
    }
    const std::uint32_t next = index == 0 || index >= maxFiles ? 1 : index + 1;
    config.setValue(INDEX_KEY, StringUtils::format(u"%u", next), Configuration::defaultSection);
    // Beside it and then renamed: a program that is killed in between leaves the old number. It is not brought to the
    // disk at once, which would hold up the lines of all threads.
    const File replacement(indexFile.getPath() + u".new");
    if (!FileUtils::writeFileContent(replacement.getPath(), *config.getSerializer()->serialize(config)) ||
        !replacement.renameTo(indexFile)) {
        const WString reason = ErrorUtils::getLastErrorDescription();
        replacement.remove();
        throw NorqIOException(u"Unable to replace index file: " + reason);
    }
    index = next;
}

} // namespace norq_std

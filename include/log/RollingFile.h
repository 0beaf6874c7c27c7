#pragma once

#include "base/Export.h"
#include "base/WString.h"
#include "concurrency/Lock.h"
#include "file/File.h"
#include "log/RollingFileObserver.h"
#include "pattern/Observable.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace norq_std {

class RollingFileHeader;
template <class T>
class SmartFileHandle;

/// A sink of bytes that spreads its output over a ring of numbered files of one size.
///
/// For the path "logs\server.log" the files are logs\server0001.log, logs\server0002.log and so on up to the maximum,
/// then 0001 again. A finished file is filled up with blanks to exactly the maximum size; the oldest file is removed
/// when its number is used again. The number of the current file stands in logs\server_log.idx, so that a restarted
/// program goes on in the file in which it ended. That file is replaced as a whole, by a rename: it is never found half
/// written.
///
/// Use it as `setFilePath`, `setMaximumFiles`, `setMaximumSize`, `open`, `write`. A write reaches the system before it
/// returns. Any thread may call any operation; each takes the lock, which recurses, and observers and headers are
/// called within it. Two writers, also of two processes, may share a set: at the next roll each takes over the number
/// of the other. The destructor closes the file and tells nobody.
class NORQSTD_EXPORT RollingFile : public Observable<RollingFileObserver> {
public:
    RollingFile();
    ~RollingFile() override;

    WString toString() const override;

    /// Closes the present file and takes over the ring of this one: the name must contain a dot and must not be that of
    /// a directory, else `NorqIllegalArgumentException`. `NorqIOException` if the number cannot be stored.
    void setFilePath(const File& file);
    /// The path of the current file; empty before `setFilePath`.
    WString getFilePath() const;

    /// In bytes, at most 2147483647, to which a larger value is cut. A file that is larger already rolls at once. With
    /// 0 nothing rolls, and `write` refuses every byte.
    void setMaximumSize(std::uint32_t bytes);
    std::uint32_t getMaximumSize() const;
    /// How many files the ring has; a lower number takes effect when the ring next begins anew.
    void setMaximumFiles(std::uint32_t count);
    std::uint32_t getMaximumFiles() const;

    bool isOpen() const;
    /// Opens the current file and writes the headers. A file that is full already is removed first. After a roll that
    /// failed half-way it goes on with that. Nothing if it is called while the ring is on its way to another file, by
    /// an observer say.
    ///
    /// Throws `NorqIOException` if there is no path, the full file cannot be removed, or the file cannot be opened.
    void open();
    /// Closes the file and tells the observers; nothing on a closed file.
    void close();

    /// Writes `count` bytes at `buffer + offset` as one piece into one file, which is the next one if they do not fit,
    /// and returns how many were written.
    ///
    /// Throws `NorqIllegalStateException` on a closed file, `NorqIllegalArgumentException` for a null buffer and for
    /// more bytes than a file may hold, `NorqIOException` if the system cannot write; nothing of the piece is then left
    /// in the file, unless somebody else has written to it meanwhile. After a failure to begin the next file the ring
    /// is closed.
    std::uint32_t write(const unsigned char* buffer, std::uint32_t offset, std::uint32_t count);

    /// Headers are written in order of adding; a null header, and one that is there already, are ignored.
    void addHeader(const std::shared_ptr<RollingFileHeader>& header);
    bool hasHeader(const std::shared_ptr<RollingFileHeader>& header) const;
    void removeHeader(const std::shared_ptr<RollingFileHeader>& header);

private:
    friend class LoggerBase;
    class Move;

    /// Writes the first line as `write` does, and with it those that follow as long as they fit: the number of lines, 0
    /// on a closed file.
    std::size_t writeLines(std::span<const std::string_view> lines);

    void checkFits(std::uint64_t count) const;
    File getIndexFile() const;
    void updateIndex();
    void openCurrent();
    void openNext();
    void rolloverIfNecessary(std::uint32_t pendingBytes);
    void pad();
    void updateSize();
    void writeHeaders();

    mutable Lock lock; // guards everything below
    std::uint32_t maxSize = 0;
    std::uint32_t maxFiles = 0;
    std::uint32_t index = 0;
    std::uint32_t size = 0;
    File directory;
    WString baseName;
    WString extension;
    std::unique_ptr<SmartFileHandle<int>> fileHandle; // null when closed
    std::vector<std::shared_ptr<RollingFileHeader>> headers;
    std::int32_t writesSinceRefresh = 0;
    bool rollPending = false; // the last file was finished, and the next could not be begun
    bool moving = false;      // it is on the way from one file to another
};

} // namespace norq_std

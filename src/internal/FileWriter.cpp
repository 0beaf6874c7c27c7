#include "internal/FileWriter.h"

#include "platform/Error.h"
#include "platform/FileSystem.h"

#include <utility>

namespace norq_std_internal {

FileWriter::FileWriter(norq_std::WString target, Mode writeMode)
    : path(std::move(target))
    , mode(writeMode)
    , handle(platform::openFile(
          path, writeMode == Mode::Append ? platform::OpenMode::Append : platform::OpenMode::Write, &created))
    , regular(handle.isRegular())
    , sizeBefore(handle.sizeWhenOpened()) {}

FileWriter::~FileWriter() {
    if (handle.isOpen())
        undo();
}

bool FileWriter::begin(std::uint64_t bytes) {
    if (mode == Mode::Append || !regular || created)
        return true;
    if (bytes > sizeBefore && sizeBefore > 0 && !handle.reserve(bytes)) {
        const std::int32_t error = platform::lastError();
        static_cast<void>(handle.setSize(sizeBefore)); // gives back what was reserved
        handle = {};
        platform::setLastError(error);
        return false;
    }
    if (handle.setSize(0))
        return true;
    handle = {};
    return false;
}

bool FileWriter::write(const void* bytes, std::size_t count) {
    const std::size_t done = handle.write(bytes, count);
    written += done;
    if (done == count)
        return true;
    undo();
    return false;
}

bool FileWriter::finish() {
    if (handle.close())
        return true;
    const std::int32_t error = platform::lastError();
    if (created)
        static_cast<void>(platform::removeEntry(path));
    else if (regular && mode == Mode::Overwrite)
        static_cast<void>(platform::openFile(path, platform::OpenMode::Write).setSize(0));
    platform::setLastError(error);
    return false;
}

void FileWriter::undo() {
    const std::int32_t error = platform::lastError();
    std::uint64_t size = 0;
    if (created)
        static_cast<void>(platform::removeEntry(path));
    else if (regular && mode == Mode::Overwrite)
        static_cast<void>(handle.setSize(0));
    else if (regular && handle.size(size) && size == sizeBefore + written) // nobody else has appended since
        static_cast<void>(handle.setSize(sizeBefore));
    handle = {};
    platform::setLastError(error);
}

} // namespace norq_std_internal

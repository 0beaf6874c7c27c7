#include "internal/LockedFileImpl.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "base/StringUtils.h"
#include "concurrency/Concurrency.h"
#include "concurrency/Waitable.h"
#include "exception/NorqException.h"
#include "platform/Error.h"
#include "stream/ByteArray.h"

#include <cstddef>
#include <cstdint>
#include <limits>

namespace norq_std_internal {

using norq_std::ByteArray;
using norq_std::Concurrency;
using norq_std::ErrorUtils;
using norq_std::LockedFile;
using norq_std::NorqIllegalArgumentException;
using norq_std::NorqIllegalStateException;
using norq_std::NorqInterruptedException;
using norq_std::NorqIOException;
using norq_std::StringUtils;
using norq_std::Waitable;
using norq_std::WChar;
using norq_std::WString;

namespace {

constexpr std::int32_t PollMillis = 50;
constexpr WChar OpenName[] = u"norq_std_internal::LockedFileImpl::open";

platform::ShareMode shareMode(LockedFile::AccessType accessType) {
    switch (accessType) {
    case LockedFile::Read:
        return platform::ShareMode::ReadShared;
    case LockedFile::Overwrite:
        return platform::ShareMode::OverwriteExclusive;
    case LockedFile::Append:
        return platform::ShareMode::AppendExclusive;
    }
    throw NorqIllegalArgumentException(u"Invalid accessType specified");
}

[[noreturn]] void fail(const WChar* message) { throw NorqIOException(message, ErrorUtils::getLastError()); }

} // namespace

LockedFileImpl::~LockedFileImpl() = default;

void LockedFileImpl::open(const WString& path, LockedFile::AccessType openType,
                          const std::shared_ptr<Waitable>& waitObject) {
    ErrorUtils::isEmptyEx(path, OpenName, u"path");
    close();
    const platform::ShareMode mode = shareMode(openType);
    for (;;) {
        handle = platform::openShared(path, mode);
        if (handle.isOpen() || !waitObject)
            break;
        if (ErrorUtils::getLastError() != platform::SharingViolation) {
            NORQ_LOG(norq_std::DEBUG, OpenName, u"Error Creating File: %ls.", ErrorUtils::getLastErrorDescription());
            break;
        }
        if (Concurrency::waitForSingleObject(*waitObject, PollMillis) == 0)
            throw NorqInterruptedException(u"Wait object was signaled before file could be opened.");
    }
    if (!handle.isOpen()) {
        const std::int32_t error = ErrorUtils::getLastError();
        throw NorqIOException(u"Unable to open or create file <" + path + u">: Error opening or creating file: " +
                                  ErrorUtils::getErrorDescription(error),
                              error);
    }
    accessType = openType;
}

void LockedFileImpl::close() { handle = {}; }

std::shared_ptr<ByteArray> LockedFileImpl::read() {
    checkOpen();
    std::uint64_t size = 0;
    if (!handle.size(size))
        fail(u"Read file failed.");
    if (size > std::numeric_limits<std::int32_t>::max()) {
        platform::setLastError(platform::FileTooLarge);
        fail(u"Read file failed.");
    }
    auto bytes = std::make_shared<ByteArray>(static_cast<std::int32_t>(size));
    if (handle.read(bytes->getArray().get(), static_cast<std::size_t>(size)) < 0)
        fail(u"Read file failed.");
    return bytes;
}

void LockedFileImpl::write(const ByteArray& bytes) {
    checkOpen();
    const std::int32_t wanted = bytes.getLength();
    const auto written =
        static_cast<std::int32_t>(handle.write(bytes.getArray().get(), static_cast<std::size_t>(wanted)));
    if (written == wanted)
        return;
    if (written == 0)
        fail(u"Write file failed.");
    throw NorqIOException(StringUtils::format(u"Write failed, wrote %d bytes instead of %d bytes.", written, wanted),
                          ErrorUtils::getLastError());
}

void LockedFileImpl::flush() {
    checkOpen();
    if (handle.flush())
        return;
    const std::int32_t error = ErrorUtils::getLastError();
    throw NorqIOException(u"Unable to flush locked file: " + ErrorUtils::getErrorDescription(error), error);
}

void LockedFileImpl::checkOpen() const {
    if (!handle.isOpen())
        throw NorqIllegalStateException(u"LockedFile is not open.");
}

} // namespace norq_std_internal

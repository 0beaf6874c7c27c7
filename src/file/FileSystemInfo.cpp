#include "file/FileSystemInfo.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "internal/FileSystemInfoImpl.h"
#include "internal/NumberText.h"
#include "platform/FileSystem.h"

namespace norq_std_internal {

using norq_std::ErrorUtils;

void FileSystemInfoImpl::refresh() {
    const norq_std::WString path = directory.getCanonicalPath();
    std::uint64_t space = 0;
    if (!platform::freeDiskSpace(path, space)) {
        const std::int32_t error = ErrorUtils::getLastError();
        throw norq_std::NorqIOException(u"Unable to get disk free space: " + ErrorUtils::getErrorDescription(error),
                                        error);
    }
    std::uint64_t usage = 0;
    std::size_t unread = 0;
    if (!platform::treeSize(path, usage, unread))
        unread = 1;
    if (unread > 0)
        NORQ_LOG(norq_std::DEBUG, u"norq_std_internal::FileSystemInfoImpl::refresh",
                 u"%u directories in (%ls) could not be read.", unread, path);
    diskSpace = space;
    diskUsage = usage;
}

} // namespace norq_std_internal

namespace norq_std {

using norq_std_internal::numberText;

FileSystemInfo::FileSystemInfo(const File& directory)
    : impl(std::make_shared<norq_std_internal::FileSystemInfoImpl>(directory)) {}

FileSystemInfo::~FileSystemInfo() = default;

WString FileSystemInfo::toString() const {
    return u"FileSystemInfo{directory='" + impl->directory.getPath() + u"', diskSpace=" + numberText(impl->diskSpace) +
           u", diskUsage=" + numberText(impl->diskUsage) + u"}";
}

File FileSystemInfo::getDirectory() const { return impl->directory; }

std::uint64_t FileSystemInfo::getDiskSpace() const { return impl->diskSpace; }

std::uint64_t FileSystemInfo::getDiskUsage() const { return impl->diskUsage; }

void FileSystemInfo::refresh() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::FileSystemInfo::refresh");
    impl->refresh();
}

} // namespace norq_std

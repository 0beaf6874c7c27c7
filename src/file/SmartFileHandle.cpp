#include "file/SmartFileHandle.h"

#include "base/ErrorUtils.h"
#include "platform/FileHandle.h"

#include <cstdint>

namespace norq_std {

namespace platform = norq_std_internal::platform;

namespace {

constexpr int DefaultPermissions = 0666;

int checkedFlags(int openFlags) {
    if (openFlags == 0)
        ErrorUtils::isEmptyEx(WString(), u"norq_std::SmartFileHandle::SmartFileHandle", u"opType");
    return openFlags;
}

} // namespace

SmartFileHandle<std::FILE*>::SmartFileHandle(const WString& path, const WString& mode)
    : handle(platform::openStream(path, mode)) {}

SmartFileHandle<std::FILE*>::~SmartFileHandle() { platform::closeStream(handle); }

SmartFileHandle<int>::SmartFileHandle(const WString& path, int openFlags)
    : SmartFileHandle(path, checkedFlags(openFlags), DefaultPermissions) {}

SmartFileHandle<int>::SmartFileHandle(const WString& path, int openFlags, int permissionMode)
    : handle(platform::openDescriptor(path, openFlags, static_cast<std::uint32_t>(permissionMode))) {}

SmartFileHandle<int>::~SmartFileHandle() { platform::closeDescriptor(handle); }

} // namespace norq_std

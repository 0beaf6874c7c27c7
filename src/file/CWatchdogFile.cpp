#include "file/CWatchdogFile.h"

#include "platform/FileSystem.h"

namespace NorqStd {
namespace {

constexpr std::int64_t UnixEpoch = 116'444'736'000'000'000; // in the units, and from the beginning, of file times

std::uint64_t fileTime(std::int64_t nanoseconds) {
    return nanoseconds == 0 ? 0 : static_cast<std::uint64_t>(nanoseconds / 100 + UnixEpoch);
}

SWString join(const SWString& directory, const SWString& name) {
    norq_std::WString path = directory;
    if (path.empty())
        norq_std_internal::platform::workingDirectory(path, norq_std::WString::npos);
    if (!path.empty() && path.back() != u'\\' && path.back() != u'/')
        path += u'\\';
    return path + name;
}

} // namespace

CWatchdogFile::CWatchdogFile(const SWString& directory, const SWString& fileName)
    : name(fileName)
    , fullPath(join(directory, fileName)) {
    norq_std_internal::platform::FileStatus status;
    if (!norq_std_internal::platform::fileStatus(fullPath, status))
        return;
    exists = true;
    size = status.size;
    isReadOnly = status.readOnly;
    isHidden = status.hidden;
    isCompressed = status.compressed;
    creationTime = fileTime(status.creationTime);
    lastWriteTime = fileTime(status.modificationTime);
}

void CWatchdogFile::update(const CWatchdogFile& fresh) {
    exists = fresh.exists;
    size = fresh.size;
    isReadOnly = fresh.isReadOnly;
    isHidden = fresh.isHidden;
    isArchive = fresh.isArchive;
    isCompressed = fresh.isCompressed;
    creationTime = fresh.creationTime;
    lastWriteTime = fresh.lastWriteTime;
}

} // namespace NorqStd

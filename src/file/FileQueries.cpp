#include "base/ErrorUtils.h"
#include "base/InternalLog.h"
#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "file/IFileFilter.h"
#include "internal/PathElement.h"
#include "platform/Error.h"
#include "platform/FileSystem.h"
#include "system/NorqSystem.h"

#include <list>
#include <string_view>
#include <utility>

namespace norq_std {

namespace platform = norq_std_internal::platform;

namespace {

constexpr const WChar* Leaf = detail::pathLeaf(u"FileQueries.cpp");

[[noreturn]] void throwLastError() {
    const std::int32_t error = ErrorUtils::getLastError();
    throw NorqIOException(ErrorUtils::getErrorDescription(error), error);
}

struct Query {
    const WChar* function;
    const WChar* failure; ///< takes the path and the exception's message
};

/// What `body` finds at the canonical path; the empty result, and a line, if that throws `NorqIOException`.
template <class Body>
auto ask(const File& file, const Query& query, Body body) -> decltype(body(WString())) {
    try {
        return body(file.getCanonicalPath());
    } catch (const NorqIOException& exception) {
        if (__internal_debug_on())
            __internal_debug(query.function, Leaf, __LINE__, query.failure, file.getPath().c_str(),
                             exception.getMessage().c_str());
        return {};
    }
}

/// What `body` says of the file that the path leads to; the empty result where there is none.
template <class Body>
auto askStatus(const File& file, const Query& query, Body body) {
    return ask(file, query, [&](const WString& path) -> decltype(body(platform::FileStatus())) {
        platform::FileStatus status;
        if (!platform::fileStatus(path, status))
            return {};
        return body(status);
    });
}

/// False for what was not there; every other failure is told.
bool failedForCause() {
    if (ErrorUtils::getLastError() != platform::FileNotFound)
        throwLastError();
    return false;
}

std::u16string_view parentOf(std::u16string_view path) {
    const std::size_t last = path.rfind(File::pathSeparator);
    return last == std::u16string_view::npos || last < 3 ? std::u16string_view() : path.substr(0, last);
}

bool makeDirectory(std::u16string_view path) {
    if (platform::makeDirectory(path))
        return true;
    NORQ_LOG(DEBUG, u"norq_std::File::mkdir", u"Could not create <%ls> directory: <%ls>.", WString(path),
             ErrorUtils::getLastErrorDescription());
    return false;
}

std::uint64_t milliseconds(std::int64_t nanoseconds) {
    return nanoseconds > 0 ? static_cast<std::uint64_t>(nanoseconds) / 1'000'000 : 0;
}

} // namespace

bool File::exists() const {
    return askStatus(
        *this, {u"norq_std::File::exists", u"Caught exception checking if file(%ls) exists, returning false: %ls."},
        [](const platform::FileStatus&) { return true; });
}

bool File::isDirectory() const {
    return askStatus(
        *this,
        {u"norq_std::File::isDirectory", u"Caught exception checking if file(%ls) is directory, returning false: %ls."},
        [](const platform::FileStatus& status) { return status.isDirectory(); });
}

bool File::isFile() const {
    return askStatus(
        *this,
        {u"norq_std::File::isFile", u"Caught exception checking if file(%ls) is regular file, returning false: %ls."},
        [](const platform::FileStatus& status) { return !status.isDirectory(); });
}

bool File::isHidden() const {
    return askStatus(
        *this,
        {u"norq_std::File::isHidden", u"Caught exception checking if file(%ls) is hidden, returning false: %ls."},
        [](const platform::FileStatus& status) { return status.hidden; });
}

bool File::canRead() const {
    return ask(
        *this,
        {u"norq_std::File::canRead", u"Caught exception checking if file(%ls) is readable, returning false: %ls."},
        [](const WString& path) { return platform::mayAccess(path, platform::Access::Read); });
}

bool File::canWrite() const {
    return ask(
        *this,
        {u"norq_std::File::canWrite", u"Caught exception checking if file(%ls) is writable, returning false: %ls."},
        [](const WString& path) { return platform::mayAccess(path, platform::Access::Write); });
}

std::uint64_t File::getCreationTime() const {
    return askStatus(*this,
                     {u"norq_std::File::getCreationTime",
                      u"Caught exception getting creation time for file(%ls), returning 0: %ls."},
                     [](const platform::FileStatus& status) { return milliseconds(status.creationTime); });
}

std::uint64_t File::getLastModificationTime() const {
    return askStatus(*this,
                     {u"norq_std::File::getLastModificationTime",
                      u"Caught exception getting last modification time for file(%ls), returning 0: %ls."},
                     [](const platform::FileStatus& status) { return milliseconds(status.modificationTime); });
}

std::uint64_t File::getLength() const {
    return askStatus(
        *this, {u"norq_std::File::getLength", u"Caught exception getting the file(%ls) length, returning 0: %ls."},
        [](const platform::FileStatus& status) { return status.size; });
}

std::list<WString> File::list() const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::File::list");
    return ask(
        *this,
        {u"norq_std::File::list", u"Caught exception listing the files for directory(%ls), returning empty set: %ls."},
        [this](const WString& path) {
            std::list<WString> names;
            std::size_t leftOut = 0;
            if (!platform::listDirectory(path, norq_std_internal::isListedName, names, leftOut))
                throwLastError();
            if (leftOut > 0)
                NORQ_LOG(DEBUG, u"norq_std::File::list",
                         u"Left out %u names in directory(%ls) that cannot stand in a path.", leftOut, getPath());
            return names;
        });
}

std::list<File> File::listFiles() const {
    return listFilesIf([](const File&) { return true; });
}

std::list<File> File::listFiles(const IFileFilter& filter) const {
    return listFilesIf([&](const File& file) { return filter.accept(file); });
}

template <class Condition>
std::list<File> File::listFilesIf(const Condition& condition) const {
    std::size_t length = 0;
    for (const WString& element : elements)
        length += element.size() + 1;
    std::list<File> files;
    std::size_t tooLong = 0;
    for (const WString& name : list()) {
        if (length + name.size() + 1 > maxPathSize) {
            ++tooLong;
            continue;
        }
        File file(*this);
        file.elements.push_back(name);
        if (condition(std::as_const(file)))
            files.push_back(std::move(file));
    }
    if (tooLong > 0)
        NORQ_LOG(DEBUG, u"norq_std::File::listFiles", u"Left out %u files of directory(%ls): too long a path.", tooLong,
                 getPath());
    return files;
}

bool File::mkdir() const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::File::mkdir");
    return ask(*this, {u"norq_std::File::mkdir", u"Caught exception making directory(%ls), returning false: %ls."},
               [](const WString& path) {
                   platform::FileStatus status;
                   return !platform::fileStatus(path, status) && makeDirectory(path);
               });
}

bool File::mkdirs() const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::File::mkdirs");
    return ask(*this, {u"norq_std::File::mkdirs", u"Caught exception making directory(%ls), returning false: %ls."},
               [](const WString& path) {
                   platform::FileStatus status;
                   if (platform::fileStatus(path, status))
                       return false;
                   std::list<std::u16string_view> missing{path};
                   for (std::u16string_view above = parentOf(path);
                        !above.empty() && !platform::fileStatus(above, status); above = parentOf(above))
                       missing.push_front(above);
                   for (; missing.size() > 1; missing.pop_front()) // another process may make one meanwhile
                       if (!makeDirectory(missing.front()) &&
                           !(platform::fileStatus(missing.front(), status) && status.isDirectory()))
                           return false;
                   return makeDirectory(path);
               });
}

bool File::renameTo(const File& other) const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::File::renameTo");
    try {
        const WString from = getCanonicalPath();
        if (!platform::renameEntry(from, other.getCanonicalPath()))
            throwLastError();
        return true;
    } catch (const NorqIOException& failure) {
        NORQ_LOG(DEBUG, u"norq_std::File::renameTo",
                 u"Caught exception renaming file from(%ls) to (%ls), returning false: %ls.", getPath(),
                 other.getPath(), failure.getMessage());
        return false;
    }
}

bool File::remove() const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::File::remove");
    return ask(*this, {u"norq_std::File::remove", u"Caught exception removing file(%ls), returning false: %ls."},
               [](const WString& path) { return platform::removeEntry(path) || failedForCause(); });
}

bool File::rmdirs() const { return recursiveRemove(*this); }

bool File::recursiveRemove(const File& file) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::File::recursiveRemove");
    return ask(file,
               {u"norq_std::File::recursiveRemove", u"Caught exception removing file(%ls), returning false: %ls."},
               [](const WString& path) { return platform::removeTree(path) || failedForCause(); });
}

bool File::touch() const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::File::touch");
    return ask(*this, {u"norq_std::File::touch", u"Caught exception touching file(%ls), returning false: %ls."},
               [](const WString& path) {
                   platform::FileStatus status;
                   if (platform::fileStatus(path, status) && status.isDirectory())
                       return false;
                   return platform::touchFile(path) || failedForCause();
               });
}

void File::setWorkingDirectory(const File& file) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::File::setWorkingDirectory");
    if (!file.isDirectory())
        throw NorqIllegalArgumentException(u"Directory <" + file.getPath() + u"> is invalid!");
    if (!platform::setWorkingDirectory(file.getCanonicalPath()))
        throw NorqIOException(u"Unable to set the working directory.", ErrorUtils::getLastError());
}

File File::getUserDirectory() {
    const WString path = NorqSystem::getInstance().getEnv(u"USERPROFILE");
    if (path.empty())
        throw NorqIOException(u"Couldn't find the expected environment variable for user directory.");
    return File(path);
}

std::list<File> File::listRoots() {
    std::list<File> roots;
    for (const WString& root : platform::driveRoots())
        roots.emplace_back(root);
    return roots;
}

} // namespace norq_std

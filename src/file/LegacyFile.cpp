#include "file/LegacyFile.h"

#include "base/EncodingUtils.h"
#include "base/InternalLog.h"
#include "base/WideChar.h"
#include "platform/Error.h"
#include "platform/FileHandle.h"
#include "platform/FileSystem.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cxxabi.h>
#include <list>
#include <string_view>
#include <thread>

namespace NorqStd {

namespace platform = norq_std_internal::platform;
using norq_std::EncodingUtils;
using norq_std::WChar;
using norq_std::WideChar;
using norq_std::WString;
using platform::FileHandle;
using platform::FileStatus;
using platform::OpenMode;

namespace {

constexpr std::size_t ChunkBytes = 255;
constexpr std::size_t CopyBlockBytes = 1024;
constexpr std::size_t CopyOverBlockBytes = 512;
constexpr int RenameAttempts = 5;
constexpr WChar Separator = u'\\';

constexpr WChar CopyOverName[] = u"NorqStd::CopyOver";
constexpr WChar SourceFileName[] = u"LegacyFile.cpp";

FileHandle openEmptied(const WString& path) {
    FileHandle file = platform::openFile(path, OpenMode::Write);
    return file.isOpen() && file.setSize(0) ? std::move(file) : FileHandle();
}

bool isSameFile(const WString& one, const WString& other) {
    FileStatus a;
    FileStatus b;
    return platform::fileStatus(one, a) && platform::fileStatus(other, b) && a.isSameFile(b);
}

bool copyContent(FileHandle& from, FileHandle& to) {
    std::array<char, CopyBlockBytes> block;
    for (;;) {
        const std::int64_t count = from.read(block.data(), block.size());
        if (count <= 0)
            return count == 0;
        if (to.write(block.data(), static_cast<std::size_t>(count)) != static_cast<std::size_t>(count))
            return false;
    }
}

/// Whether a name fits a pattern with `*` and `?`. The last `*` alone is ever tried again, so a step takes back no more
/// than one unit of progress.
bool matches(std::u16string_view name, std::u16string_view pattern) {
    std::size_t n = 0;
    std::size_t p = 0;
    std::size_t star = pattern.npos;
    std::size_t afterStar = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == u'*') {
            star = p++;
            afterStar = n;
        } else if (p < pattern.size() &&
                   (pattern[p] == u'?' || WideChar::toLower(pattern[p]) == WideChar::toLower(name[n]))) {
            ++p;
            ++n;
        } else if (star != pattern.npos) {
            p = star + 1;
            n = ++afterStar;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of(u'*', p) == pattern.npos;
}

bool isFound(const WString& path) {
    FileStatus status;
    if (platform::linkStatus(path, status))
        return true;
    const std::size_t separator = path.find_last_of(u"\\/");
    const std::size_t begin = separator == path.npos ? 0 : separator + 1;
    if (path.find_first_of(u"*?", begin) == path.npos)
        return false;
    const WString directory = separator == path.npos ? WString(u".") : path.substr(0, begin);
    std::list<WString> names;
    std::size_t leftOut = 0;
    const auto anyName = [](std::u16string_view) { return true; };
    if (!platform::listDirectory(directory, anyName, names, leftOut))
        return false;
    const std::u16string_view pattern = std::u16string_view(path).substr(begin);
    return std::ranges::any_of(names, [&](const WString& name) { return matches(name, pattern); });
}

enum class Removal { Possible, Denied, Failed };

/// What removing the target, as the first step of its replacement, would come to.
Removal judgeRemoval(const WString& target) {
    FileStatus status;
    if (platform::linkStatus(target, status))
        return status.isDirectory() || status.readOnly ? Removal::Denied : Removal::Possible;
    switch (platform::lastError()) {
    case platform::FileNotFound:
        return Removal::Possible;
    case platform::AccessDenied:
        return Removal::Denied;
    default:
        return Removal::Failed;
    }
}

bool renameInTime(const WString& source, const WString& target) {
    for (int attempt = 0; attempt < RenameAttempts; ++attempt) {
        if (attempt > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(1 << (attempt - 1)));
        if (platform::renameEntry(source, target))
            return true;
    }
    return false;
}

/// A read that returns nothing counts as a failure.
bool copyInBlocks(const WString& source, const WString& target) {
    FileHandle to = openEmptied(target);
    FileHandle from = platform::openFile(source, OpenMode::Read);
    if (!to.isOpen() || !from.isOpen() || !platform::mayAccess(source, platform::Access::Write))
        return false;
    std::array<char, CopyOverBlockBytes> block;
    std::int64_t count = 0;
    do {
        count = from.read(block.data(), block.size());
        if (count <= 0 || to.write(block.data(), static_cast<std::size_t>(count)) != static_cast<std::size_t>(count))
            return false;
    } while (count == static_cast<std::int64_t>(block.size()));
    return to.close() && openEmptied(source).isOpen();
}

template <class Unit>
void copyOut(Unit* out, const Unit* text, std::size_t length) {
    *std::copy_n(text, length, out) = 0;
}

SWString directoryOf(const SFilePath& path) { return path.Dirname(); }
SWString nameOf(const SFilePath& path) { return path.Basename(); }

template <class Part>
void copyPart(char* out, const char* path, Part part) {
    const std::string text = part(SFilePath(path == nullptr ? "" : path, Separator)).mb_str(0);
    copyOut(out, text.data(), text.size());
}

template <class Part>
void copyPart(WChar* out, const WChar* path, Part part) {
    const SWString text = part(SFilePath(WString(path == nullptr ? u"" : path), Separator));
    copyOut(out, text.data(), text.size());
}

SFilePath& norqDir() {
    static SFilePath& path = *new SFilePath(WString(), Separator);
    return path;
}

} // namespace

std::int32_t SWSfgets(SWString& out, std::FILE* stream) {
    out.clear();
    std::array<char, ChunkBytes + 1> chunk;
    for (;;) {
        std::size_t length = 0;
        int byte = EOF;
        while (length < ChunkBytes && (byte = std::getc(stream)) != EOF) {
            chunk[length++] = static_cast<char>(byte);
            if (byte == '\n')
                break;
        }
        chunk[length] = '\0';
        out.append(static_cast<const char*>(chunk.data()), 0U);
        if (byte == '\n' || length < ChunkBytes)
            return length > 0 ? 1 : 0;
    }
}

bool FileCopy(const SWString& source, const SWString& target) {
    FileHandle from = platform::openFile(source, OpenMode::Read);
    if (!from.isOpen())
        return false;
    if (isSameFile(source, target))
        return true;
    FileHandle to = openEmptied(target);
    if (!to.isOpen())
        return false;
    const bool removable = to.isRegular(); // a device stays
    const bool copied = copyContent(from, to);
    if (to.close() && copied)
        return true;
    if (removable)
        platform::removeEntry(target);
    return false;
}

bool FileExist(const SWString& path) {
    try {
        return isFound(path);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return false;
    }
}

std::int32_t CopyOver(const SWString& source, const SWString& target) {
    const std::string narrowSource = EncodingUtils::convertUnicodeToUtf8(source);
    const std::string narrowTarget = EncodingUtils::convertUnicodeToUtf8(target);
    const Removal removal = judgeRemoval(target);
    if (removal == Removal::Possible && renameInTime(source, target))
        return 0;
    if (removal == Removal::Denied) {
        if (norq_std::__internal_debug_on())
            norq_std::__internal_debug(CopyOverName, SourceFileName, __LINE__,
                                       u"File [%hhs] is a directory or read-only, deleting file [%hhs]",
                                       narrowTarget.c_str(), narrowSource.c_str());
        platform::removeEntry(source);
    } else if (copyInBlocks(source, target)) {
        return 0;
    }
    if (norq_std::__internal_debug_on())
        norq_std::__internal_debug(CopyOverName, SourceFileName, __LINE__, u"Could not copy file [%hhs] to [%hhs]!",
                                   narrowSource.c_str(), narrowTarget.c_str());
    return 1;
}

void DirName(char* out, const char* path) { copyPart(out, path, directoryOf); }

void DirName(WChar* out, const WChar* path) { copyPart(out, path, directoryOf); }

void BaseName(char* out, const char* path) { copyPart(out, path, nameOf); }

void BaseName(WChar* out, const WChar* path) { copyPart(out, path, nameOf); }

void SetNorqDir(const SFilePath& path) { norqDir() = path; }

SFilePath GetNorqDir() { return norqDir(); }

} // namespace NorqStd

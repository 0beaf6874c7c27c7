#include "internal/SectionFile.h"

#include "base/EncodingUtils.h"
#include "base/ErrorUtils.h"
#include "base/LegacyText.h"
#include "base/LogMacros.h"
#include "file/LegacyFile.h"
#include "platform/Error.h"
#include "platform/FileHandle.h"
#include "platform/FileSystem.h"
#include "platform/TemporaryFile.h"

#include <utility>

namespace norq_std_internal {

using norq_std::EncodingUtils;
using norq_std::ErrorUtils;
using norq_std::WString;
using NorqStd::SWString;

namespace {

void logFailure(const SWString& path) {
    NORQ_LOG(norq_std::DEBUG, u"NorqStd::PutConfigString", u"Unable to rewrite <%ls>: %ls", path,
             ErrorUtils::getLastErrorDescription());
}

WString templateBeside(const SWString& path) {
    const std::size_t separator = path.find_last_of(u"/\\");
    return path.substr(0, separator == path.npos ? 0 : separator + 1) + u"cfgXXXXXX";
}

/// The new file beside the old one; removed if it did not come to take its place.
class NewSectionFile {
public:
    explicit NewSectionFile(const SWString& targetPath)
        : target(targetPath)
        , path(templateBeside(targetPath))
        , stream(platform::createTemporaryFile(path, targetPath))
        , there(stream.isOpen()) {}
    ~NewSectionFile() {
        stream.close();
        if (there)
            platform::removeEntry(path);
    }
    NewSectionFile(const NewSectionFile&) = delete;
    NewSectionFile& operator=(const NewSectionFile&) = delete;

    bool isOpen() const { return stream.isOpen(); }

    void write(const SWString& line) {
        const std::string bytes = EncodingUtils::convertUnicodeToMbcs(line, 0);
        std::fwrite(bytes.data(), 1, bytes.size(), stream.get());
        std::putc('\n', stream.get());
    }

    bool replaceTarget() {
        if (!stream.close())
            return false;
        there = false;
        NorqStd::CopyOver(path, target);
        return true;
    }

private:
    const SWString target;
    WString path;
    SmallStream stream;
    bool there;
};

void rewrite(SectionReader& old, NewSectionFile& file, const SWString& section, SectionEdit& edit) {
    enum class Place { Before, Inside, Behind } place = Place::Before;
    const SWString head = SectionReader::headOf(section);
    const auto finish = [&] {
        if (const SWString* const line = edit.addition())
            file.write(*line);
        place = Place::Behind;
    };
    for (SWString line; old.isOpen() && old.next(line);) {
        bool kept = true;
        if (place == Place::Before && line == head) {
            place = Place::Inside;
            kept = edit.keepsHead();
        } else if (place == Place::Inside) {
            if (SectionReader::isHead(line))
                finish();
            else
                kept = edit.keeps(line);
        }
        if (kept)
            file.write(line);
    }
    if (place == Place::Before && edit.addition() != nullptr)
        file.write(head);
    if (place != Place::Behind)
        finish();
}

} // namespace

SmallStream::SmallStream(std::FILE* openStream)
    : stream(openStream) {
    if (stream != nullptr)
        std::setvbuf(stream, buffer, _IOFBF, sizeof buffer);
}

bool SmallStream::close() {
    if (stream == nullptr)
        return true;
    std::FILE* const closed = std::exchange(stream, nullptr);
    const bool whole = std::ferror(closed) == 0;
    return std::fclose(closed) == 0 && whole;
}

SectionReader::SectionReader(const SWString& path)
    : stream(platform::openStream(path, u"r")) {}

bool SectionReader::next(SWString& line) {
    // A result of 0 is not always the end: a line that begins with a zero byte reads as nothing, and a last line of a
    // certain length reads as none.
    if (NorqStd::SWSfgets(line, stream.get()) != 1 && line.empty() && (std::feof(stream.get()) != 0 || failed()))
        return false;
    NorqStd::TrimString(line);
    return true;
}

bool SectionReader::find(const SWString& section) {
    const SWString head = headOf(section);
    for (SWString line; next(line);)
        if (line == head)
            return true;
    return false;
}

bool rewriteSection(const SWString& path, const SWString& section, SectionEdit& edit) {
    platform::FileStatus status;
    const bool exists = platform::fileStatus(path, status);
    if (!exists && edit.needsFile())
        return true;
    NewSectionFile file(path);
    SectionReader old(path);
    // A file that is there and cannot be read is not replaced by what was not read.
    if (!file.isOpen() || (exists && !old.isOpen())) {
        logFailure(path);
        return false;
    }
    rewrite(old, file, section, edit);
    if ((old.isOpen() && old.failed()) || !file.replaceTarget()) {
        logFailure(path);
        return false;
    }
    return true;
}

} // namespace norq_std_internal

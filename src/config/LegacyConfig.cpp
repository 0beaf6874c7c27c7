#include "config/LegacyConfig.h"

#include "base/ErrorUtils.h"
#include "base/LegacyText.h"
#include "base/LogMacros.h"
#include "internal/SectionFile.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <memory>

namespace NorqStd {

using norq_std::DEBUG;
using norq_std::ErrorUtils;
using norq_std::WChar;
using norq_std_internal::SectionEdit;
using norq_std_internal::SectionReader;

namespace {

constexpr const WChar* NoParameter = u"no parameter passed in";
constexpr const WChar* NoEntry = u".mf/@#";

/// Reads the default path, or sets it if there is an argument.
SWString& filePath(const SWString& text = NoParameter) {
    static SWString& path = *new SWString();
    if (text != NoParameter)
        path = text;
    return path;
}

SWString choosePath(const SWString& path) {
    if (path.empty())
        return filePath();
    if (filePath().empty())
        filePath(path);
    return path;
}

std::unique_ptr<SectionReader>& listStream() {
    static auto& stream = *new std::unique_ptr<SectionReader>();
    return stream;
}

std::int32_t lengthOf(const SWString& text) { return static_cast<std::int32_t>(text.size()); }

void copyOut(char* target, std::int32_t size, const SWString& text) {
    if (target == nullptr || size < 1)
        return;
    const char* const bytes = text.mb_str(0);
    const std::size_t length = std::min(std::strlen(bytes), static_cast<std::size_t>(size) - 1);
    std::memcpy(target, bytes, length);
    target[length] = '\0';
}

class PutEntry : public SectionEdit {
public:
    PutEntry(const SWString& key, const SWString& value)
        : prefix(key + u'=')
        , entry(prefix + value) {}

    bool keeps(SWString& line) override {
        if (line.starts_with(prefix)) {
            line = entry;
            written = true;
        }
        return true;
    }
    const SWString* addition() const override { return written ? nullptr : &entry; }

private:
    const SWString prefix;
    const SWString entry;
    bool written = false;
};

class DeleteEntry : public SectionEdit {
public:
    explicit DeleteEntry(const SWString& key)
        : prefix(key + u'=') {}

    bool keeps(SWString& line) override { return !line.starts_with(prefix); }

private:
    const SWString prefix;
};

class DeleteLine : public SectionEdit {
public:
    explicit DeleteLine(const SWString& deletedLine)
        : deleted(deletedLine) {
        TrimString(deleted);
    }

    bool keeps(SWString& line) override { return line != deleted; }

private:
    SWString deleted;
};

class AddLine : public SectionEdit {
public:
    explicit AddLine(const SWString& addedLine)
        : added(addedLine) {}

    bool keeps(SWString&) override { return true; }
    const SWString* addition() const override { return &added; }

private:
    const SWString added;
};

class DeleteSection : public SectionEdit {
public:
    explicit DeleteSection(bool headStays)
        : withHead(headStays) {}

    bool keeps(SWString&) override { return false; }
    bool keepsHead() const override { return withHead; }
    bool needsFile() const override { return true; }

private:
    const bool withHead;
};

std::int32_t change(const SWString& path, const SWString& section, SectionEdit&& edit) {
    return norq_std_internal::rewriteSection(choosePath(path), section, edit) ? 1 : 0;
}

/// The next line that is not blank; false at the next head and at the end.
bool nextOfSection(SectionReader& reader, SWString& line) {
    while (reader.next(line))
        if (!line.empty())
            return !SectionReader::isHead(line);
    return false;
}

} // namespace

void CfgSetFilePath(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    filePath(sprintfStringVA(arguments, format));
    va_end(arguments);
}

void CfgSetFilePath(const WChar* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    filePath(sprintfStringVA(arguments, format));
    va_end(arguments);
}

void CfgSetFilePath(const SFilePath& path) { filePath(path); }

const char* CfgGetFilePath() { return filePath().mb_str(0); }

const WChar* WCfgGetFilePath() { return filePath().c_str(); }

std::int32_t GetConfigString(SWString& value, const SWString& path, const SWString& section, const SWString& key,
                             const SWString& defaultValue, std::int32_t logFlag) {
    NORQ_LOG_FUNCTION_CALL(u"NorqStd::GetConfigString");
    // The value may be one of the arguments.
    SWString found = defaultValue;
    const SWString prefix = key + u'=';
    const SWString file = choosePath(path);
    SectionReader reader(file);
    SWString line;
    if (!reader.isOpen()) {
        if (logFlag == 1) {
            const std::int32_t error = ErrorUtils::getLastError();
            NORQ_LOG(DEBUG, u"NorqStd::GetConfigString", u"( %ls %ls %ls %ls %ls)\n", found, file, section, key,
                     defaultValue);
            NORQ_LOG(DEBUG, u"NorqStd::GetConfigString", u"_wfopen(%ls):%d\n", file, error);
        }
    } else if (!reader.find(section)) {
        if (logFlag == 1)
            NORQ_LOG(DEBUG, u"NorqStd::GetConfigString", u"Couldn't find Section:%ls\n", section);
    } else {
        bool inside = true;
        while ((inside = nextOfSection(reader, line)) && !line.starts_with(prefix))
            continue;
        if (inside)
            found = line.substr(prefix.size());
        else if (logFlag == 1)
            NORQ_LOG(DEBUG, u"NorqStd::GetConfigString", u"Couldn't find Entry:%ls\n", key);
    }
    value = found;
    return lengthOf(value);
}

std::int32_t GetConfigString(char* value, std::int32_t size, const char* path, const char* section, const char* key,
                             const char* defaultValue, std::int32_t logFlag) {
    SWString found;
    const std::int32_t length =
        GetConfigString(found, SWString(path), SWString(section), SWString(key), SWString(defaultValue), logFlag);
    copyOut(value, size, found);
    return length;
}

std::int32_t GetConfigInt(const SWString& path, const SWString& section, const SWString& key, std::int32_t defaultValue,
                          std::int32_t logFlag) {
    SWString value;
    GetConfigString(value, path, section, key, NoEntry, logFlag);
    return value == NoEntry ? defaultValue : value.ToLong();
}

std::int32_t PutConfigString(const SWString& path, const SWString& section, const SWString& key,
                             const SWString& value) {
    NORQ_LOG_FUNCTION_CALL(u"NorqStd::PutConfigString");
    return change(path, section, PutEntry(key, value));
}

std::int32_t PutConfigInt(const SWString& path, const SWString& section, const SWString& key, std::int32_t value) {
    return PutConfigString(path, section, key, Num2Str(value));
}

std::int32_t DeleteConfigEntry(const SWString& path, const SWString& section, const SWString& key) {
    NORQ_LOG_FUNCTION_CALL(u"NorqStd::DeleteConfigEntry");
    return change(path, section, DeleteEntry(key));
}

std::int32_t FetchConfigVals(SWString& name, const SWString& path, const SWString& section, SWString& value,
                             std::int32_t index) {
    NORQ_LOG_FUNCTION_CALL(u"NorqStd::FetchConfigVals");
    SectionReader reader(choosePath(path));
    if (index < 0 || !reader.isOpen() || !reader.find(section))
        return 0;
    SWString line;
    for (std::int32_t i = 0; i <= index; ++i)
        if (!nextOfSection(reader, line))
            return 0;
    GetDelimField(name, line, 1, u'=');
    value = name.size() < line.size() ? SWString(line, name.size() + 1) : SWString();
    return 1;
}

std::int32_t OpenConfigStringList(const SWString& path, const SWString& section) {
    NORQ_LOG_FUNCTION_CALL(u"NorqStd::OpenConfigStringList");
    CloseConfigStringList();
    auto reader = std::make_unique<SectionReader>(choosePath(path));
    if (!reader->isOpen() || !reader->find(section))
        return 0;
    NORQ_LOG(DEBUG, u"NorqStd::OpenConfigStringList", u"Found section heading: %ls\n", section);
    listStream() = std::move(reader);
    return 1;
}

std::int32_t FetchConfigStringList(SWString& line) {
    line.clear();
    if (listStream() == nullptr)
        return 0;
    if (listStream()->next(line) && !SectionReader::isHead(line))
        return 1;
    line.clear();
    CloseConfigStringList();
    return 0;
}

std::int32_t FetchConfigStringList(char* line, std::int32_t size) {
    SWString text;
    const std::int32_t more = FetchConfigStringList(text);
    copyOut(line, size, text);
    return more;
}

std::int32_t CloseConfigStringList() {
    listStream().reset();
    return 1;
}

std::int32_t PutConfigStringList(const SWString& path, const SWString& section, const SWString& line) {
    NORQ_LOG_FUNCTION_CALL(u"NorqStd::PutConfigStringList");
    return change(path, section, AddLine(line));
}

std::int32_t DeleteConfigLine(const SWString& path, const SWString& section, const SWString& line) {
    NORQ_LOG_FUNCTION_CALL(u"NorqStd::DeleteConfigLine");
    return change(path, section, DeleteLine(line));
}

std::int32_t DelConfigSectionValues(const SWString& path, const SWString& section) {
    NORQ_LOG_FUNCTION_CALL(u"NorqStd::DelConfigSectionValues");
    return change(path, section, DeleteSection(true));
}

std::int32_t DelConfigSection(const SWString& path, const SWString& section) {
    NORQ_LOG_FUNCTION_CALL(u"NorqStd::DelConfigSection");
    return change(path, section, DeleteSection(false));
}

std::int32_t GetConfigSectionList(std::vector<SWString>& sections, const SWString& path) {
    NORQ_LOG_FUNCTION_CALL(u"NorqStd::GetConfigSectionList");
    sections.clear();
    SectionReader reader(choosePath(path));
    if (!reader.isOpen())
        return -1;
    for (SWString line; reader.next(line);)
        if (SectionReader::isHead(line))
            sections.emplace_back(line.substr(1, line.size() - 2));
    return static_cast<std::int32_t>(sections.size());
}

std::int32_t GetConfigStringList(std::vector<SWString>& lines, const SWString& path, const SWString& section) {
    NORQ_LOG_FUNCTION_CALL(u"NorqStd::GetConfigStringList");
    lines.clear();
    SectionReader reader(choosePath(path));
    if (!reader.isOpen())
        return -1;
    if (reader.find(section))
        for (SWString line; nextOfSection(reader, line);)
            lines.push_back(line);
    return static_cast<std::int32_t>(lines.size());
}

} // namespace NorqStd

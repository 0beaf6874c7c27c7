#pragma once

#include "base/SWString.h"
#include "file/SFilePath.h"

#include <cstdint>
#include <vector>

namespace NorqStd {

/// \file
/// The older free functions on section files: each call is one pass through the file. New code uses
/// `norq_std::ConfigurationFile`.
///
/// A file is text in code page 0. A line loses its trailing white space and is then a head, `[section]`, an entry,
/// `key=value` from its first character on, or other text; there are no comments and no escapes. Of sections with one
/// name the first counts. Narrow text converts to `SWString`, in code page 0.
///
/// An empty path means the default path; while there is no default path, the first path that is given becomes it.
///
/// Nothing throws. What changes a file writes a new one beside it, named "cfg" with six random characters, which then
/// takes its place; it returns 1, or 0 with the file unchanged if the new one cannot be made or written, or if the old
/// one is there and cannot be read. Taking the place is `CopyOver`, whose result is not looked at: a file that nobody
/// may write stays as it is, and one that cannot be replaced by a rename (a mount point) is written over in place. All
/// lines come back without trailing white space. Two changes of one file at once can lose one of them. Failures are
/// lines of debug log.
///
/// The default path and the list stream belong to the process: one thread at a time.

// ---- the default path

/// Text by a format as `sprintfString` takes it.
NORQSTD_EXPORT void CfgSetFilePath(const char* format, ...);
NORQSTD_EXPORT void CfgSetFilePath(const norq_std::WChar* format, ...);
NORQSTD_EXPORT void CfgSetFilePath(const SFilePath& path);
/// Good until the default path is set, or asked for, again.
NORQSTD_EXPORT const char* CfgGetFilePath();
NORQSTD_EXPORT const norq_std::WChar* WCfgGetFilePath();

// ---- single entries

/// The value of the entry, else the default. Returns its length. Why there is none is logged if `logFlag` is 1.
NORQSTD_EXPORT std::int32_t GetConfigString(SWString& value, const SWString& path, const SWString& section,
                                            const SWString& key, const SWString& defaultValue,
                                            std::int32_t logFlag = 0);
/// The same; at most `size` bytes are written, the terminator among them. Returns the length of the whole value.
NORQSTD_EXPORT std::int32_t GetConfigString(char* value, std::int32_t size, const char* path, const char* section,
                                            const char* key, const char* defaultValue, std::int32_t logFlag = 0);
/// The decimal number at the start of the entry, 0 if there is none; the default only if the entry is missing.
NORQSTD_EXPORT std::int32_t GetConfigInt(const SWString& path, const SWString& section, const SWString& key,
                                         std::int32_t defaultValue, std::int32_t logFlag = 0);
/// Changes every entry of the key in the section, else adds one at the section's end; adds a missing section, and makes
/// a missing file.
NORQSTD_EXPORT std::int32_t PutConfigString(const SWString& path, const SWString& section, const SWString& key,
                                            const SWString& value);
NORQSTD_EXPORT std::int32_t PutConfigInt(const SWString& path, const SWString& section, const SWString& key,
                                         std::int32_t value);
/// Removes every entry of the key in the section. A missing file is made, empty.
NORQSTD_EXPORT std::int32_t DeleteConfigEntry(const SWString& path, const SWString& section, const SWString& key);

/// The entry at the index, from 0, among the lines of the section that are not blank: what stands before the first `=`,
/// and what stands behind it. Returns 1, or 0 if there is none.
NORQSTD_EXPORT std::int32_t FetchConfigVals(SWString& name, const SWString& path, const SWString& section,
                                            SWString& value, std::int32_t index);

// ---- sections as lists of lines

/// Opens the list stream behind the head, in place of what it read before. Returns 1, or 0 if there is no such section.
NORQSTD_EXPORT std::int32_t OpenConfigStringList(const SWString& path, const SWString& section);
/// The next line of the section, blank ones included. Returns 1, or 0 behind the last line.
NORQSTD_EXPORT std::int32_t FetchConfigStringList(SWString& line);
/// The same; at most `size` bytes are written, the terminator among them.
NORQSTD_EXPORT std::int32_t FetchConfigStringList(char* line, std::int32_t size);
/// Returns 1.
NORQSTD_EXPORT std::int32_t CloseConfigStringList();

/// Adds the line behind the last line of the section, blank ones included; adds a missing section, and makes a missing
/// file.
NORQSTD_EXPORT std::int32_t PutConfigStringList(const SWString& path, const SWString& section, const SWString& line);
/// Removes all lines of the section that equal this one without its trailing white space. A missing file is made,
/// empty.
NORQSTD_EXPORT std::int32_t DeleteConfigLine(const SWString& path, const SWString& section, const SWString& line);
/// Removes all lines of the section, with or without its head. Returns 1 for a missing file too, which stays missing.
NORQSTD_EXPORT std::int32_t DelConfigSectionValues(const SWString& path, const SWString& section);
NORQSTD_EXPORT std::int32_t DelConfigSection(const SWString& path, const SWString& section);

/// The names of all sections, as often as they appear. Returns their number, -1 if the file cannot be read.
NORQSTD_EXPORT std::int32_t GetConfigSectionList(std::vector<SWString>& sections, const SWString& path);
/// The lines of the section that are not blank. Returns their number, -1 if the file cannot be read.
NORQSTD_EXPORT std::int32_t GetConfigStringList(std::vector<SWString>& lines, const SWString& path,
                                                const SWString& section);

} // namespace NorqStd

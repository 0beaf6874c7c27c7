#pragma once

#include "base/Export.h"
#include "base/SWString.h"
#include "file/SFilePath.h"

#include <cstdint>
#include <cstdio>

namespace NorqStd {

/// \file
/// The older free functions on files. New code uses `norq_std::File` and `norq_std::FileUtils`.
///
/// They report by their results and throw nothing for bad input. Narrow text is in code page 0, windows-1252; paths are
/// as `norq_std::File` describes them. `SetNorqDir` belongs to the start of the process; the rest may be called by any
/// thread.

/// Reads a line, with its newline, from a stream of text in code page 0; a zero byte hides what follows it within its
/// chunk of 255 bytes. Returns 0 at the end of the stream, with `out` empty. A last line without a newline whose length
/// is a multiple of 255 is read and gives 0 as well.
NORQSTD_EXPORT std::int32_t SWSfgets(SWString& out, std::FILE* stream);

/// Copies a file over another. False if one of them cannot be opened, and if not everything could be read and written;
/// the target is removed then.
NORQSTD_EXPORT bool FileCopy(const SWString& source, const SWString& target);

/// Whether there is an entry of this path. `*` and `?` in the last element stand for any units and for one, without
/// regard to case.
NORQSTD_EXPORT bool FileExist(const SWString& path);

/// Puts the source in the place of the target, in one rename where that can be done. Returns 0 on success, 1 on
/// failure.
///
/// A target that is a directory or read-only is left alone and the source removed. Where renaming fails, five times
/// within 15 milliseconds, the target is emptied, also if the source cannot be opened after that; the source is copied
/// and then cut to length 0. A source whose length is a multiple of 512 bytes is copied whole, but reported as a
/// failure and not cut.
NORQSTD_EXPORT std::int32_t CopyOver(const SWString& source, const SWString& target);

/// `SFilePath::Dirname` and `SFilePath::Basename` of a path with the separator "\". `out` has room for the path with
/// its terminator, and for two units at least; it may be the path itself.
NORQSTD_EXPORT void DirName(char* out, const char* path);
NORQSTD_EXPORT void DirName(norq_std::WChar* out, const norq_std::WChar* path);
NORQSTD_EXPORT void BaseName(char* out, const char* path);
NORQSTD_EXPORT void BaseName(norq_std::WChar* out, const norq_std::WChar* path);

/// The directory of the library, its path and its separator; empty until the process sets it.
NORQSTD_EXPORT void SetNorqDir(const SFilePath& path);
NORQSTD_EXPORT SFilePath GetNorqDir();

} // namespace NorqStd

#pragma once

#include "base/Export.h"
#include "base/SWString.h"

#include <cstdarg>
#include <cstdint>

namespace NorqStd {

/// \file
/// The older free functions on text. New code uses `norq_std::StringUtils`.
///
/// They report by their results and throw nothing for bad input. Narrow text is in code page 0, windows-1252, so that a
/// byte is a character. Functions that write to a caller's buffer say how large it must be. `OptionIndex` belongs to
/// the one thread that calls `GetOption`, and `SetAppSubDir` to the start of the process; the rest may be called by any
/// thread.

// ---- fields

/// Fields count from 1. The number of delimiters plus 1.
NORQSTD_EXPORT std::int32_t NbrDelimFields(const SWString& text, norq_std::WChar delimiter);

/// The field of this number, the first one for a number below 2; empty if there are fewer. Returns the length of `out`.
NORQSTD_EXPORT std::int32_t GetDelimField(SWString& out, const SWString& text, std::int32_t fieldNumber,
                                          norq_std::WChar delimiter);
/// The same; at most `outSize` bytes are written, the terminator among them, and a longer field is cut. Returns the
/// number of characters without the terminator. The delimiter is the unit of the byte's value.
NORQSTD_EXPORT std::int32_t GetDelimField(char* out, std::int32_t outSize, const char* text, std::int32_t fieldNumber,
                                          char delimiter);

/// Up to `length` characters from `position`, which counts from 1. Returns 1, or 0, with `out` empty, where there are
/// none. The narrow form writes up to `length` + 1 bytes, and never more than the text from there has with its
/// terminator; `out` may be the text itself.
NORQSTD_EXPORT std::int32_t GetPosField(SWString& out, const SWString& text, std::uint32_t position,
                                        std::uint32_t length);
NORQSTD_EXPORT std::int32_t GetPosField(char* out, const char* text, std::uint32_t position, std::uint32_t length);

/// Reads numbers and ranges, such as "1,3,5-7", into an array of `maxIndex` + 1 entries: 1 where the number is listed,
/// else 0. What is above `maxIndex` is left out. "-3" is the range from 0. Returns how often an entry was set; both
/// ends of a range count twice.
NORQSTD_EXPORT std::int32_t RangeStrToIntArr(const SWString& text, std::int32_t* array, std::int32_t maxIndex);

/// Removes trailing white space in place. Null is left alone.
NORQSTD_EXPORT void TrimString(char* text);
NORQSTD_EXPORT void TrimString(norq_std::WChar* text);
NORQSTD_EXPORT void TrimString(SWString& text);

// ---- texts of values

NORQSTD_EXPORT SWString Num2Str(std::int32_t value);

/// The prefix and the code, of four digits at least; negative codes as they are.
NORQSTD_EXPORT SWString printErr(std::int32_t code, const SWString& prefix);
/// The system's text of the calling thread's last error, without trailing white space.
NORQSTD_EXPORT SWString printLastErr();

/// Each unit as a number to the base 8, 16, or else 10, with a space behind it, and then all of them in quotes, with a
/// dot for what cannot be printed. The wide form shows the low byte of a unit as its number, and two spaces before the
/// quotes. Two quotes alone for a length below 1 or null.
NORQSTD_EXPORT SWString BufferDump(const char* bytes, std::int32_t length, std::int32_t base);
NORQSTD_EXPORT SWString BufferDump(const norq_std::WChar* units, std::int32_t length, std::int32_t base);

/// Formatted text (base/WideFormat.h) of any length. A format that is null or refused, and want of memory, leave the
/// target as it was.
///
/// The narrow formats take narrow text for `%s` and `%c`, wide text for `%S` and `%C`, and make text of code page 0.
/// `long` has 32 bits there too.
NORQSTD_EXPORT SWString sprintfString(const norq_std::WChar* format, ...);
NORQSTD_EXPORT SWString sprintfString(const char* format, ...);
NORQSTD_EXPORT SWString sprintfStringVA(std::va_list arguments, const norq_std::WChar* format);
NORQSTD_EXPORT SWString sprintfStringVA(std::va_list arguments, const char* format);
NORQSTD_EXPORT void sprintfStringAppend(SWString& target, const norq_std::WChar* format, ...);
NORQSTD_EXPORT void sprintfStringAppend(SWString& target, const char* format, ...);
NORQSTD_EXPORT void sprintfStringAppendVA(SWString& target, std::va_list arguments, const norq_std::WChar* format);
NORQSTD_EXPORT void sprintfStringAppendVA(SWString& target, std::va_list arguments, const char* format);

// ---- the process

/// Which argument `GetOption` looks at next; 1 at start.
extern NORQSTD_EXPORT std::int32_t OptionIndex;

/// Reads the next argument of a command line; options begin with `-` or `/`.
///
/// `optionString` lists the letters of the options, each followed by `:` if it takes a value: the rest of its argument,
/// or else the next argument if that is no option. Returns the option's letter, with `value` null where there is none;
/// 1 for an argument that is no option and 65535 for an unknown option, with the argument in `value`; 0 behind the last
/// argument.
NORQSTD_EXPORT std::int32_t GetOption(std::int32_t argc, const norq_std::WChar* const* argv,
                                      const norq_std::WChar* optionString, const norq_std::WChar** value);
NORQSTD_EXPORT std::int32_t GetOption(std::int32_t argc, const char* const* argv, const char* optionString,
                                      const char** value);

/// The sub-directory of the application, which the process sets at its start.
NORQSTD_EXPORT void SetAppSubDir(const SWString& text);
NORQSTD_EXPORT SWString GetAppSubDir();

} // namespace NorqStd

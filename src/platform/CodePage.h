#pragma once

#include "base/Export.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace norq_std_internal::platform {

/// What code page 0 stands for, in every process and whatever its environment says.
constexpr std::uint32_t DEFAULT_CODE_PAGE = 1252;

/// Appends the decoded bytes; returns false and appends nothing if the code page is unknown.
///
/// Known are 0, 932, 936, 949, 950, 1250, 1251, 1252, 1254, 1256 and 65001. Bytes that stand for nothing become `?`, in
/// 65001 U+FFFD. A lead byte before a byte that cannot follow it is read alone, so that a cut-off sequence swallows no
/// delimiter. Zero is a character as any other. ASCII is itself in every page. Any thread may call; the first use of a
/// page other than 1252 and 65001 makes its tables, which takes a few milliseconds, and they stay for the process.
NORQSTD_EXPORT bool decodeCodePage(std::uint32_t codePage, std::string_view bytes, std::u16string& target);

/// Appends the encoded text, under the same conditions. A character without a place takes the page's best fit, else `?`
/// a unit (so two for a surrogate pair); in 65001 a lone surrogate is written as U+FFFD.
NORQSTD_EXPORT bool encodeCodePage(std::uint32_t codePage, std::u16string_view text, std::string& target);

/// The same with code page 0, which has one byte a unit, for a caller that has the room. Gives the end of the bytes.
unsigned char* encodeDefaultCodePage(std::u16string_view text, unsigned char* target);

} // namespace norq_std_internal::platform

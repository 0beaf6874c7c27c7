#pragma once

#include "base/Export.h"
#include "internal/UtfRuns.h"

#include <cstddef>

/// The long runs of bytes as text: Base64 in whole groups, hexadecimal in whole bytes.
///
/// Each function has a body for AVX2, taken where the processor has it, and one with tables in `portable`, which gives
/// the same results and takes what is too short for blocks.
namespace norq_std_internal {

/// Encodes three bytes a group into four characters, without padding.
NORQSTD_EXPORT void encodeBase64(const unsigned char* in, std::size_t groups, char* out);

/// Decodes groups of four characters of the alphabet while there are, and room; moves both. It stops at the group that
/// holds anything else, and never writes behind the target's end; what lies before it may be overwritten.
NORQSTD_EXPORT void decodeBase64(Remaining<const char> source, Remaining<unsigned char> target);

/// The end of the whole groups that it would decode.
NORQSTD_EXPORT const char* skipBase64(const char* at, const char* end);

/// Two upper-case digits a byte.
NORQSTD_EXPORT void encodeHexadecimal(const unsigned char* in, std::size_t bytes, char16_t* out);

/// The value of two digits a byte; what is no digit in upper case counts as 0.
NORQSTD_EXPORT void decodeHexadecimal(const char16_t* in, std::size_t bytes, unsigned char* out);
NORQSTD_EXPORT void decodeHexadecimal(const char* in, std::size_t bytes, unsigned char* out);

namespace portable {

NORQSTD_EXPORT void encodeBase64(const unsigned char* in, std::size_t groups, char* out);
NORQSTD_EXPORT void decodeBase64(Remaining<const char> source, Remaining<unsigned char> target);
NORQSTD_EXPORT const char* skipBase64(const char* at, const char* end);
NORQSTD_EXPORT void encodeHexadecimal(const unsigned char* in, std::size_t bytes, char16_t* out);
NORQSTD_EXPORT void decodeHexadecimal(const char16_t* in, std::size_t bytes, unsigned char* out);
NORQSTD_EXPORT void decodeHexadecimal(const char* in, std::size_t bytes, unsigned char* out);

} // namespace portable
} // namespace norq_std_internal

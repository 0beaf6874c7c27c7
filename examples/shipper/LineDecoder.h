#pragma once

#include "base/WString.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace shipper {

/// The text of a line of bytes, and what had to be done to get it.
struct DecodedLine {
    norq_std::WString text;
    bool otherEncoding = false; ///< not UTF-8: read in code page 0, windows-1252, in which every byte has a character
    std::uint32_t nulBytes = 0; ///< zero bytes, which text cannot hold; each stands as the symbol U+2400
};

/// Lines as they usually are: the text of `length` bytes of UTF-8 without a zero byte, behind which stands one. Nothing
/// if the bytes are others.
std::optional<norq_std::WString> decodePlain(const char* bytes, std::size_t length);

/// Decodes `length` bytes, behind which stands a zero byte. Nothing is lost, whatever the bytes are.
DecodedLine decode(const char* line, std::size_t length);

} // namespace shipper

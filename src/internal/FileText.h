#pragma once

#include "base/WString.h"

#include <cstddef>
#include <memory>
#include <string_view>

namespace norq_std {
class ByteArray;
}

namespace norq_std_internal {

/// The text of a whole file in a character set, as `ByteArray` converts, but without the limit on the length of UTF-8,
/// and in pieces, so that it need not be in memory twice. Every piece but the last ends in a line feed.
class FileDecoder {
public:
    /// The bytes outlive the decoder.
    FileDecoder(const norq_std::ByteArray& bytes, const norq_std::WString& charset);

    /// False behind the last piece.
    bool next(norq_std::WString& piece);

private:
    std::size_t pieceLength() const;

    const norq_std::WString charset;
    std::string_view rest;
};

/// Appends the text of bytes without a zero, without the limit on the length of UTF-8; false where they are not UTF-8,
/// with the text before the fault.
bool decodeUtf8(std::string_view bytes, norq_std::WString& text);

/// The bytes of a text. Units that would end the text early when it is read back, zero and in UTF-8 lone surrogates,
/// are written as U+FFFD, or what the character set has for it.
std::shared_ptr<norq_std::ByteArray> encodeFile(norq_std::WString text, const norq_std::WString& charset);

} // namespace norq_std_internal

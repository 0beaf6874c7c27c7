#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace norq_std {

class ByteArray;

/// Base64 of RFC 4648, with padding and without line breaks.
///
/// Decoding skips ASCII white space wherever it stands. Nothing here throws for bad input: a text that is not Base64
/// gives an empty result and a line of debug log. No state; every operation may be called from any thread.
class NORQSTD_EXPORT Base64Utils {
public:
    virtual ~Base64Utils();

    /// Bytes that suffice for the decoded (encoded) text with a terminator.
    static std::uint32_t getMbcsStringLength(const std::string& base64);
    static std::uint32_t getBase64StringLength(const std::string& text);
    static std::uint32_t getBase64StringLength(const ByteArray& bytes);

    /// Whether the text is Base64. It is not asked here whether unused bits of the last character are zero, which
    /// decoding insists on.
    static bool isBase64String(const std::string& text);

    /// The decoded bytes up to the first zero byte; empty on failure.
    static std::string base64ToMbcs(const std::string& base64);
    /// All decoded bytes; null on failure.
    static std::shared_ptr<ByteArray> base64ToByteArray(const std::string& base64);

    /// The whole string, zero bytes included.
    static std::string mbcsToBase64(const std::string& text);
    static std::string byteArrayToBase64(const ByteArray& bytes);

private:
    Base64Utils() = default;

    // Return the count of units written, or -1. The text ends at its first zero; a null target checks the text alone.
    // The encoder writes a terminator, for which there must be room.
    static std::int64_t internalBase64ToMbcs(const std::string& text, unsigned char* target, std::size_t targetSize);
    static std::int64_t internalMbcsToBase64(const unsigned char* source, std::size_t sourceLength, char* target,
                                             std::size_t targetSize);
    static std::string encode(const unsigned char* bytes, std::size_t length);
    static bool isFailure(std::int64_t length, const WChar* function);
};

} // namespace norq_std

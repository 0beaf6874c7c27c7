#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace norq_std {

class ByteArray;
class ByteBuffer;
class Lock;

/// Text to and from narrow encodings: UTF-8, code pages, Base64; bytes as text; and the code pages of languages.
///
/// Nothing here throws for what a text holds. Every operation may be called from any thread.
class NORQSTD_EXPORT EncodingUtils {
public:
    virtual ~EncodingUtils();

    /// As `Utf8Utils::utf8ToUnicode` and `Utf8Utils::unicodeToUtf8`.
    static WString convertUtf8ToUnicode(const std::string& text);
    static std::string convertUnicodeToUtf8(const WString& text);

    /// Between wide text and a Windows code page; 0 is the default of every process, windows-1252.
    ///
    /// The code pages are those of the languages below, 1252 and 65001 (UTF-8); any other gives an empty text and a
    /// line of debug log. A text ends at its first zero unit. Encoding takes the page's own best fit for a character
    /// that it lacks, and `?` where there is none (two for a surrogate pair); decoding gives `?` for bytes that stand
    /// for nothing. In 65001 both write U+FFFD instead. Bytes that 125x leaves undefined are the control characters of
    /// the same value, both ways.
    static WString convertMbcsToUnicode(const std::string& text, std::uint32_t codePage);
    static std::string convertUnicodeToMbcs(const WString& text, std::uint32_t codePage);

    static WString toStringFromLongLong(std::uint64_t value);

    /// As `Base64Utils::base64ToMbcs` and `Base64Utils::mbcsToBase64`.
    static std::string convertBase64ToMbcs(const std::string& text);
    static std::string convertMbcsToBase64(const std::string& text);

    /// Whether this is one of the three character sets of the family's files: "ISO-10646-UCS-2", "UTF-8" and
    /// "windows-1252", compared exactly.
    static bool isValidCharacterSet(const WString& name);

    /// The Windows code page of a language by its English name, compared exactly; 0 for any other name.
    static std::uint32_t languageToCodePage(const WString& language);

    /// Two upper-case hexadecimal digits a byte, "01ABFF"; or decimal numbers joined by "-", "1-171-255". Of a buffer
    /// what lies between position and limit; its mark is then its position, which stays.
    static WString toHexString(const ByteArray& bytes);
    static WString toHexString(ByteBuffer& buffer);
    static WString toDelimString(const ByteArray& bytes);
    static WString toDelimString(ByteBuffer& buffer);

    /// The bytes that hexadecimal text stands for. No text of even length is refused: what is no upper-case digit
    /// counts as 0. A text of odd length gives no bytes. A buffer is ready to read.
    static std::shared_ptr<ByteArray> hexStringToByteArray(const WString& text);
    static std::shared_ptr<ByteArray> hexStringToByteArray(const std::string& text);
    static std::shared_ptr<ByteBuffer> hexStringToByteBuffer(const WString& text);
    static std::shared_ptr<ByteBuffer> hexStringToByteBuffer(const std::string& text);

    /// The low 8 bits of each number of a delimited text; delimiters without a number before them count nothing. A text
    /// with anything but digits and "-" gives an empty array or a null buffer, and a line of debug log.
    static std::shared_ptr<ByteArray> delimStringToByteArray(const WString& text);
    static std::shared_ptr<ByteArray> delimStringToByteArray(const std::string& text);
    static std::shared_ptr<ByteBuffer> delimStringToByteBuffer(const WString& text);
    static std::shared_ptr<ByteBuffer> delimStringToByteBuffer(const std::string& text);

    /// The delimited form if the encoding is exactly "DelimiteredEncoding", else hexadecimal.
    static WString encodeString(const ByteArray& bytes, const WString& encoding);
    static std::shared_ptr<ByteArray> decodeString(const WString& text, const WString& encoding);

private:
    using LanguageMap = std::map<WString, std::uint32_t>;

    EncodingUtils() = default;

    static LanguageMap* loadLanguageMap();
    static Lock& lock();

    static const LanguageMap* languageMap; // written once under the lock, before isLoaded
    static std::atomic<bool> isLoaded;
};

} // namespace norq_std

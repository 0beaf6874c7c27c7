#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstdint>
#include <string>

namespace norq_std {

/// The older way between UTF-8 and wide text, and the library's own test of UTF-8.
///
/// New code converts with `UtfUtils`. The test here and the conversions do not agree: the test accepts overlong forms
/// and encoded surrogates, where a conversion stops, and refuses every four-byte form, which a conversion takes.
///
/// No state; every operation may be called from any thread. A text ends at its first zero unit.
class NORQSTD_EXPORT Utf8Utils {
public:
    virtual ~Utf8Utils();

    /// Whether every byte from 0x80 on belongs to a sequence of two or three bytes; true for the empty text.
    static bool isUtf8String(const std::string& text);

    /// As `UtfUtils::utf16ToUtf8` and `UtfUtils::utf8ToUtf16`.
    static std::string unicodeToUtf8(const WString& text);
    static WString utf8ToUnicode(std::string text);

    /// Characters of the text, and one more for a terminator. Bytes that are not UTF-8 are counted, never refused: a
    /// byte from 0x80 on is one character together with up to five continuation bytes behind it.
    static std::uint32_t getUnicodeStringLength(const std::string& text);

    /// Bytes of the text in UTF-8, and one more for a terminator; each half of a surrogate pair counts three.
    static std::uint32_t getUtf8StringLength(const WString& text);

private:
    Utf8Utils() = default;
};

} // namespace norq_std

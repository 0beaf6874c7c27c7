#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <string>

namespace norq_std {

/// Lenient conversions between the Unicode encodings; none of them throws for what the text holds.
///
/// A conversion ends at the first zero unit of its source, at the first fault (bytes that are not UTF-8, a sequence or
/// pair cut off by the end) and at the process-wide limit of the result, 32767 units unless
/// `norq_std_internal::ConvertUTF::setMaxStringSize` was called; what stood before is the result, and nothing shows
/// that it stopped early. Where that matters, use the strict conversions of `norq_std_internal::ConvertUTF`. A lone
/// surrogate passes both ways between UTF-16 and UTF-32 and becomes three bytes of UTF-8, which do not convert back.
///
/// No state; every operation may be called from any thread.
class NORQSTD_EXPORT UtfUtils {
public:
    virtual ~UtfUtils();

    /// Whether the text passes the older, narrower test of `Utf8Utils::isUtf8String`, which refuses four-byte forms.
    static bool isUtf8String(const std::string& text) { return internalIsUtf8String(text.c_str()); }
    static bool isUtf8String(const char* text) { return internalIsUtf8String(text); }

    static WString utf8ToUtf16(const std::string& text) { return internalUtf8ToUtf16(text.c_str()); }
    static WString utf8ToUtf16(const char* text) { return internalUtf8ToUtf16(text); }

    static std::string utf16ToUtf8(const WString& text) { return internalUtf16ToUtf8(text.c_str()); }
    static std::string utf16ToUtf8(const WChar* text) { return internalUtf16ToUtf8(text); }

    static std::string utf32ToUtf8(const std::u32string& text) { return internalUtf32ToUtf8(text.c_str()); }
    static std::string utf32ToUtf8(const char32_t* text) { return internalUtf32ToUtf8(text); }

    static WString utf32ToUtf16(const std::u32string& text) { return internalUtf32ToUtf16(text.c_str()); }
    static WString utf32ToUtf16(const char32_t* text) { return internalUtf32ToUtf16(text); }

    static std::u32string utf8ToUtf32(const std::string& text) { return internalUtf8ToUtf32(text.c_str()); }
    static std::u32string utf8ToUtf32(const char* text) { return internalUtf8ToUtf32(text); }

    static std::u32string utf16ToUtf32(const WString& text) { return internalUtf16ToUtf32(text.c_str()); }
    static std::u32string utf16ToUtf32(const WChar* text) { return internalUtf16ToUtf32(text); }

private:
    UtfUtils() = default;

    static bool internalIsUtf8String(const char* text);
    static WString internalUtf8ToUtf16(const char* text);
    static std::string internalUtf16ToUtf8(const WChar* text);
    static std::string internalUtf32ToUtf8(const char32_t* text);
    static WString internalUtf32ToUtf16(const char32_t* text);
    static std::u32string internalUtf8ToUtf32(const char* text);
    static std::u32string internalUtf16ToUtf32(const WChar* text);
};

} // namespace norq_std

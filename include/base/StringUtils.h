#pragma once

#include "base/Export.h"
#include "base/WString.h"
#include "base/WideFormat.h"

#include <cstdarg>
#include <cstdint>
#include <vector>

namespace norq_std {

class ByteArray;

/// Static operations on wide text. No state; every operation may be called from any thread.
class NORQSTD_EXPORT StringUtils {
public:
    virtual ~StringUtils();

    /// The text, or "NULL" for a null pointer.
    static WString nullCheckedString(const WChar* text);

    /// Appends formatted text, in the wide printf dialect described in base/WideFormat.h.
    ///
    /// A text of more than 16384 units is dropped whole, without a report. A null format, and a format that is refused,
    /// throws `NorqIllegalArgumentException`; want of memory throws `NorqOutOfResourcesException`.
    static void sprintfStringAppend(WString& target, const WChar* format, ...);
    static void sprintfStringAppendVA(WString& target, std::va_list arguments, const WChar* format);

    /// The checked forms of the same formatter: the compiler refuses a format that does not fit its arguments.
    template <class... A>
    static void formatAppend(WString& target, WideFormat<std::type_identity_t<A>...> format, const A&... arguments) {
        detail::formatAppend(target, format.text(), {FormatArgument(arguments)...});
    }
    template <class... A>
    static WString format(WideFormat<std::type_identity_t<A>...> format, const A&... arguments) {
        WString text;
        detail::formatAppend(text, format.text(), {FormatArgument(arguments)...});
        return text;
    }

    /// Whether `text` begins with `prefix`; the empty prefix is always found.
    static bool hasPrefix(const WString& text, const WString& prefix);
    /// The part of `text` behind `prefix`; empty, not the text, if it does not begin with it.
    static WString trimPrefix(const WString& text, const WString& prefix);
    /// Whether every unit is a decimal (hexadecimal) digit of ASCII; true for the empty text.
    static bool isDigits(const WString& text);
    static bool isHexadecimal(const WString& text);
    /// Removes trailing white space in place and returns a copy.
    static WString trimString(WString& text);
    /// Removes white space at both ends in place and returns a copy.
    static WString trim(WString& text);

    /// A size such as "10 kb", "1.5MB" or "2GB" in bytes. Units are binary and compared without regard to case; a
    /// result above 2147483647 is cut to it. The empty text gives the default; a text with no number gives the default
    /// times the unit.
    static std::int32_t convertSizeString(const WString& text, std::int32_t defaultValue);

    /// Fields of `text`, separated by any single unit of `delimiters`; adjacent delimiters enclose an empty field.
    static std::size_t getNumberOfFields(const WString& text, const WString& delimiters);
    /// The field at `index` from 0, or the default where there is none.
    static WString getDelimField(const WString& text, std::int32_t index, const WString& delimiters,
                                 const WString& defaultValue);

    /// The first line separator of the text in the bytes ("\r\n", "\r" or "\n"), empty if it has none. Bytes become
    /// text as by `ByteArray::toWString`.
    static WString getLineSeparator(const ByteArray& bytes, const WString& encoding);
    /// The lines of that text, without their separators, which may be mixed. Empty lines count: a text that ends in a
    /// separator has an empty last line. The empty text has none.
    static std::vector<WString> getLines(const ByteArray& bytes, const WString& encoding);

private:
    StringUtils() = default;
};

} // namespace norq_std

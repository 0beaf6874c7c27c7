#include "internal/JsonText.h"

#include "exception/NorqException.h"
#include "internal/JsonScan.h"

namespace norq_std_internal {

using norq_std::NorqIllegalArgumentException;
using norq_std::WChar;
using norq_std::WString;

namespace {

int hexadecimalValue(WChar unit) {
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    if (unit >= u'a' && unit <= u'f')
        return unit - u'a' + 10;
    if (unit >= u'A' && unit <= u'F')
        return unit - u'A' + 10;
    return -1;
}

WChar readUnicodeForm(const WChar* text, const WChar* end) {
    if (end - text < 4)
        throw NorqIllegalArgumentException(u"Unexpected end of string.");
    unsigned value = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = hexadecimalValue(text[i]);
        if (digit < 0)
            throw NorqIllegalArgumentException(u"Expected hexadecimal digit.");
        value = value * 16 + static_cast<unsigned>(digit);
    }
    return static_cast<WChar>(value);
}

WChar readShortForm(WChar letter) {
    switch (letter) {
    case u'"':
    case u'/':
    case u'\\':
        return letter;
    case u'b':
        return 8;
    case u'f':
        return 12;
    case u'n':
        return 10;
    case u'r':
        return 13;
    case u't':
        return 9;
    default:
        throw NorqIllegalArgumentException(u"Unexpected character");
    }
}

} // namespace

WChar escapeLetter(WChar unit) {
    switch (unit) {
    case 8:
        return u'b';
    case 9:
        return u't';
    case 10:
        return u'n';
    case 12:
        return u'f';
    case 13:
        return u'r';
    case u'"':
    case u'/':
    case u'\\':
        return unit;
    default:
        return 0;
    }
}

WString unescapeJson(std::u16string_view escaped) {
    const WChar* text = escaped.data();
    const WChar* const end = text + escaped.size();
    WString result;
    result.reserve(escaped.size());
    for (;;) {
        const WChar* run = text;
        do
            text = findQuoteOrBackslash(text, end);
        while (text != end && *text == u'"' && ++text != end);
        result.append(run, text);
        if (end - text < 2)
            return result;
        const WChar letter = text[1];
        text += 2;
        if (letter == u'u') {
            result.push_back(readUnicodeForm(text, end));
            text += 4;
        } else {
            result.push_back(readShortForm(letter));
        }
    }
}

} // namespace norq_std_internal

// The operations of StringUtils that read bytes, a storey above the others.

#include "base/StringUtils.h"
#include "stream/ByteArray.h"

#include <algorithm>

namespace norq_std {

WString StringUtils::getLineSeparator(const ByteArray& bytes, const WString& encoding) {
    const WString text = bytes.toWString(encoding);
    const std::size_t at = text.find_first_of(u"\r\n");
    if (at == text.npos)
        return {};
    return text.compare(at, 2, u"\r\n") == 0 ? WString(u"\r\n") : WString(1, text[at]);
}

std::vector<WString> StringUtils::getLines(const ByteArray& bytes, const WString& encoding) {
    const WString text = bytes.toWString(encoding);
    if (text.empty())
        return {};
    std::vector<WString> lines;
    lines.reserve(1 + static_cast<std::size_t>(std::ranges::count(text, u'\n')));
    const WChar* const end = text.data() + text.size();
    const WChar* line = text.data();
    for (const WChar* at = line; at != end;) {
        const WChar unit = *at;
        if (unit > u'\r' || (unit != u'\n' && unit != u'\r')) {
            ++at;
            continue;
        }
        lines.emplace_back(line, at);
        at += unit == u'\r' && at + 1 != end && at[1] == u'\n' ? 2 : 1;
        line = at;
    }
    lines.emplace_back(line, end);
    return lines;
}

} // namespace norq_std

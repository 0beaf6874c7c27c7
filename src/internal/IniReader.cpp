#include "internal/IniReader.h"

#include "config/Configuration.h"
#include "internal/Trim.h"

namespace norq_std_internal {

using norq_std::WChar;

IniReader::IniReader(norq_std::Configuration& target)
    : configuration(target)
    , section(target.find({})) {}

std::u16string_view IniReader::read(std::u16string_view text) {
    std::u16string_view separator;
    const WChar* const end = text.data() + text.size();
    const WChar* line = text.data();
    for (const WChar* at = line; at != end;) {
        if (*at > u'\r' || (*at != u'\n' && *at != u'\r')) [[likely]] {
            ++at;
            continue;
        }
        readLine(trimmed({line, static_cast<std::size_t>(at - line)}));
        const std::size_t length = *at == u'\r' && at + 1 != end && at[1] == u'\n' ? 2 : 1;
        if (separator.empty())
            separator = {at, length};
        line = at += length;
    }
    // What follows the last line end is no line if nothing follows.
    const std::u16string_view last = trimmed({line, static_cast<std::size_t>(end - line)});
    if (!last.empty())
        readLine(last);
    return separator;
}

void IniReader::readLine(std::u16string_view text) {
    if (text.empty())
        section->elements.addComment({});
    else if (text.front() == u'[')
        readHead(text);
    else if (text.front() == u'#')
        section->elements.addComment(text.substr(1));
    else
        readEntry(text);
}

void IniReader::readHead(std::u16string_view text) {
    const std::size_t close = text.rfind(u']');
    if (close != text.npos)
        section = &configuration.findOrAdd(trimmed(text.substr(1, close - 1)));
}

void IniReader::readEntry(std::u16string_view text) {
    std::size_t separator = 0;
    while (separator < text.size() && text[separator] != u'=' && text[separator] != u'\\')
        ++separator;
    std::u16string_view name;
    if (separator < text.size() && text[separator] == u'=') {
        name = text.substr(0, separator);
    } else {
        separator = scanKey(text);
        name = key;
    }
    if (separator >= text.size() || name.empty())
        section->elements.addComment({});
    else
        section->elements.put(trimmed(name), text.substr(separator + 1));
}

std::size_t IniReader::scanKey(std::u16string_view text) {
    key.clear();
    bool escaped = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const WChar unit = text[i];
        const bool special = unit == u'=' || unit == u'\\' || unit == u'#' || unit == u'[';
        if (!escaped && unit == u'=')
            return i;
        if (!escaped && unit == u'\\') {
            escaped = true;
            continue;
        }
        key += unit;
        escaped = escaped && !special;
    }
    return text.npos;
}

} // namespace norq_std_internal

#include "internal/JsonOutput.h"

#include "internal/JsonNumberText.h"
#include "internal/JsonText.h"

#include <algorithm>

namespace norq_std_internal {

void JsonOutput::appendEscaped(const norq_std::WString& text) {
    const WChar* p = text.data();
    const WChar* const end = p + text.size();
    for (;;) {
        const WChar* run = p;
        p = findEscapable(p, end);
        append(run, static_cast<std::size_t>(p - run));
        if (p == end)
            return;
        const WChar letter = escapeLetter(*p);
        if (letter != 0)
            put(u'\\');
        put(letter != 0 ? letter : *p);
        ++p;
    }
}

void JsonOutput::appendNumber(double number) {
    char narrow[jsonNumberSize];
    const std::size_t length = writeJsonNumber(number, narrow);
    if (length > size - used)
        flush();
    std::copy_n(narrow, length, units + used);
    used += length;
}

} // namespace norq_std_internal

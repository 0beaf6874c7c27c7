// The wildcard filter against a model that takes its rules one step at a time, over a small alphabet so that patterns
// match often. The first byte of an input tells how long the name is; the rest of it is the pattern.

#include "file/File.h"
#include "file/WildcardFileFilter.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using norq_std::WString;

/// The pattern from `at` on against the rest of the name from `from` on.
bool matches(const WString& pattern, const WString& name) {
    std::size_t at = 0;
    std::size_t from = 0;
    while (at < pattern.size()) {
        if (from > name.size())
            return false;
        if (pattern[at] == u'?') {
            ++at;
            ++from;
        } else if (pattern[at] == u'*' && at + 1 == pattern.size()) {
            return true;
        } else {
            const bool star = pattern[at] == u'*';
            std::size_t start = star ? at + 1 : at;
            std::size_t end = start + 1;
            if (pattern[start] != u'?' && pattern[start] != u'*')
                while (end < pattern.size() && pattern[end] != u'?' && pattern[end] != u'*')
                    ++end;
            const std::size_t length = end - start;
            if (length > name.size())
                return false;
            std::size_t found = star ? name.size() - length : from;
            const auto isHere = [&] {
                return found + length <= name.size() &&
                       std::equal(name.begin() + static_cast<std::ptrdiff_t>(found),
                                  name.begin() + static_cast<std::ptrdiff_t>(found + length),
                                  pattern.begin() + static_cast<std::ptrdiff_t>(start));
            };
            while (star && found > from && !isHere())
                --found;
            if (found < from || !isHere())
                return false;
            from = found + length;
            at = end;
        }
    }
    return from == name.size();
}

WString lower(WString text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char16_t unit) {
        return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
    });
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr char16_t NameUnits[] = u"abAB";
    constexpr char16_t PatternUnits[] = u"abAB?*ab";
    if (size < 2)
        return 0;
    const std::size_t nameLength = std::min<std::size_t>(data[0], size - 2);
    WString name;
    WString pattern;
    for (std::size_t i = 1; i <= nameLength; ++i)
        name += NameUnits[data[i] % 4];
    for (std::size_t i = nameLength + 1; i < size; ++i)
        pattern += PatternUnits[data[i] % 8];
    if (name.empty())
        return 0;
    if (name.size() > 250)
        name.resize(250);
    const norq_std::WildcardFileFilter filter(pattern);
    if (filter.accept(norq_std::File(u"C:\\", name)) != matches(lower(pattern), lower(name))) {
        std::fprintf(stderr, "the filter and the rules differ\n");
        std::abort();
    }
    return 0;
}

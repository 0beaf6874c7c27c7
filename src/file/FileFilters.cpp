#include "base/ErrorUtils.h"
#include "base/WideChar.h"
#include "file/DirectoryFilter.h"
#include "file/File.h"
#include "file/WildcardFileFilter.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace norq_std {
namespace {

bool isWildcard(WChar unit) { return unit == u'?' || unit == u'*'; }

WString lowerCased(WString text) {
    std::transform(text.begin(), text.end(), text.begin(), WideChar::toLower);
    return text;
}

} // namespace

bool DirectoryFilter::accept(const File& file) const { return file.isDirectory(); }

WildcardFileFilter::WildcardFileFilter(const WString& matchString) {
    ErrorUtils::isEmptyEx(matchString, u"norq_std::WildcardFileFilter::WildcardFileFilter", u"matchString");
    const WString pattern = lowerCased(matchString);
    for (auto at = pattern.begin(); at != pattern.end();) {
        const auto end = isWildcard(*at) ? std::next(at) : std::find_if(at, pattern.end(), isWildcard);
        tokens.emplace_back(at, end);
        at = end;
    }
}

WildcardFileFilter::~WildcardFileFilter() = default;

bool WildcardFileFilter::accept(const File& file) const {
    const WString name = lowerCased(file.getName());
    std::size_t position = 0;
    auto token = tokens.begin();
    for (; token != tokens.end() && position <= name.size(); ++token) {
        if (*token == u"?") {
            ++position;
        } else if (*token != u"*") {
            if (name.compare(position, token->size(), *token) != 0)
                return false;
            position += token->size();
        } else if (std::next(token) == tokens.end()) {
            position = name.size();
        } else {
            ++token;
            const std::size_t found = name.rfind(*token);
            if (found == WString::npos || found < position)
                return false;
            position = found + token->size();
        }
    }
    return token == tokens.end() && position == name.size();
}

} // namespace norq_std

#include "config/ConfigUtils.h"

#include "base/LogMacros.h"
#include "base/StringUtils.h"
#include "config/ConfigurationSerializer.h"
#include "file/File.h"
#include "file/FileUtils.h"
#include "internal/Trim.h"
#include "stream/ByteArray.h"

#include <string_view>

namespace norq_std {

std::vector<WString> ConfigUtils::getConfigStringList(const File& file, const WString& section) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConfigUtils::getConfigStringList");
    std::vector<WString> result;
    const std::shared_ptr<ByteArray> content = FileUtils::getFileContent(file.getPath());
    if (content == nullptr)
        return result;
    const std::vector<WString> lines = StringUtils::getLines(*content, ConfigurationSerializer::defaultCharset);
    bool wanted = false;
    for (const WString& text : lines) {
        const std::u16string_view line = norq_std_internal::trimmed(text);
        if (line.starts_with(u'[')) {
            const std::size_t close = line.rfind(u']');
            if (close != line.npos)
                wanted = line.substr(1, close - 1) == section;
        } else if (wanted && !(line.empty() && &text == &lines.back())) {
            result.emplace_back(line);
        }
    }
    return result;
}

std::map<WString, WString> ConfigUtils::getTrimmedPrefixSubset(const std::map<WString, WString>& map,
                                                               const WString& prefix) {
    std::map<WString, WString> subset;
    for (const auto& [key, value] : map)
        if (const WString rest = StringUtils::trimPrefix(key, prefix); !rest.empty())
            subset.emplace(rest, value);
    return subset;
}

} // namespace norq_std

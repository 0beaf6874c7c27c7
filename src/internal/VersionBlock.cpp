#include "internal/VersionBlock.h"

#include "platform/NarrowText.h"
#include "platform/VersionResource.h"

#include <optional>
#include <string>
#include <string_view>

namespace norq_std_internal {

using norq_std::WChar;
using norq_std::WString;

void VersionBlock::load(const WString& filename) {
    const std::optional<std::string> resource =
        filename.empty() ? std::nullopt : platform::readVersionResource(filename);
    valid = resource.has_value();
    block = valid ? platform::toWide(*resource) : WString();
}

WString VersionBlock::value(const WChar* key) const {
    if (!valid)
        return u"Invalid filename";
    std::u16string_view rest = block;
    const auto takeText = [&rest] {
        const std::u16string_view text = rest.substr(0, rest.find(WChar{0}));
        rest.remove_prefix(std::min(rest.size(), text.size() + 1));
        return text;
    };
    while (!rest.empty()) {
        const std::u16string_view name = takeText();
        const std::u16string_view text = takeText();
        if (name == key)
            return WString(text);
    }
    return {};
}

} // namespace norq_std_internal

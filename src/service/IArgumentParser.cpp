#include "service/IArgumentParser.h"

#include "base/ErrorUtils.h"
#include "platform/NarrowText.h"

#include <vector>

namespace norq_std {

IArgumentParser::~IArgumentParser() = default;

void IArgumentParser::parseArguments(int argc, const char* const* argv) {
    if (argc > 1)
        ErrorUtils::isNullEx(argv, u"norq_std::IArgumentParser::parseArguments", u"argv");
    std::vector<WString> texts;
    for (int i = 0; i < argc && argv[i] != nullptr; ++i)
        texts.push_back(norq_std_internal::platform::toWide(argv[i]));
    std::vector<const WChar*> wide;
    wide.reserve(texts.size() + 1);
    for (const WString& text : texts)
        wide.push_back(text.c_str());
    wide.push_back(nullptr);
    parseArguments(static_cast<int>(texts.size()), wide.data());
}

} // namespace norq_std

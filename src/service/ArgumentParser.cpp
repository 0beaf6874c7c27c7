#include "service/ArgumentParser.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "internal/Trim.h"

#include <string_view>

namespace norq_std {

ArgumentParser::ArgumentParser() = default;

ArgumentParser::~ArgumentParser() = default;

void ArgumentParser::parseArguments(int argc, const WChar* const* argv) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ArgumentParser::parseArguments");
    if (argc > 1)
        ErrorUtils::isNullEx(argv, u"norq_std::ArgumentParser::parseArguments", u"argv");
    values.clear();
    auto current = values.end();
    for (int i = 1; i < argc && argv[i] != nullptr; ++i) {
        const std::u16string_view argument(argv[i]);
        if (!argument.starts_with(u'-')) {
            if (current != values.end())
                current->second += argument;
        } else if (argument.size() > 1) {
            current = values.emplace(argument.substr(1, 1), norq_std_internal::trimmed(argument.substr(2))).first;
        }
    }
}

bool ArgumentParser::argumentParsed(const WString& name) { return values.contains(name); }

WString ArgumentParser::argumentValue(const WString& name) {
    const auto found = values.find(name);
    if (found == values.end())
        throw NorqIllegalArgumentException(u"The argument \"" + name + u"\" was not parsed.");
    return found->second;
}

} // namespace norq_std

#include "base/JsonUtil.h"

#include "base/LogMacros.h"
#include "internal/JsonParser.h"

namespace norq_std {

std::shared_ptr<JsonAware> JsonUtil::parseJson(const WString& text) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::JsonUtil::parseJson");
    return norq_std_internal::JsonParser(text).parse();
}

} // namespace norq_std

#include "base/LogEventPriority.h"

#include <algorithm>
#include <iterator>

namespace norq_std {
namespace {

constexpr const WChar* Texts[] = {u"DUMP", u"TRACE", u"CALL", u"DEBUG", u"INFO", u"WARN", u"ERROR", u"FATAL"};

} // namespace

WString logEventPriorityToString(LogEventPriority priority) {
    return priority < DUMP || priority > FATAL ? u"Invalid Priority Specified" : Texts[priority];
}

LogEventPriority logEventPriorityFromString(const WString& text, LogEventPriority defaultPriority) {
    const auto* const found = std::find(std::begin(Texts), std::end(Texts), text);
    return found == std::end(Texts) ? defaultPriority : static_cast<LogEventPriority>(found - std::begin(Texts));
}

} // namespace norq_std

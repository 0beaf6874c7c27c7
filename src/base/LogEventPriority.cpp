#include "base/LogEventPriority.h"

#include "internal/LogRecord.h"

#include <algorithm>
#include <iterator>

namespace norq_std {
namespace {

constexpr std::u16string_view Texts[] = {u"DUMP", u"TRACE", u"CALL", u"DEBUG", u"INFO", u"WARN", u"ERROR", u"FATAL"};

} // namespace

WString logEventPriorityToString(LogEventPriority priority) {
    return WString(norq_std_internal::priorityText(priority));
}

LogEventPriority logEventPriorityFromString(const WString& text, LogEventPriority defaultPriority) {
    const auto* const found = std::find(std::begin(Texts), std::end(Texts), text);
    return found == std::end(Texts) ? defaultPriority : static_cast<LogEventPriority>(found - std::begin(Texts));
}

} // namespace norq_std

std::u16string_view norq_std_internal::priorityText(norq_std::LogEventPriority priority) {
    using namespace norq_std;
    return priority < DUMP || priority > FATAL ? u"Invalid Priority Specified" : Texts[priority];
}

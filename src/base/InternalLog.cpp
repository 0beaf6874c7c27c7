#include "base/InternalLog.h"

#include "base/ContextLogMessage.h"
#include "internal/ThreadIdMap.h"

#include <cstdarg>

namespace norq_std {
namespace {

void write(LogEventPriority priority, const WChar* function, const WChar* file, std::uint32_t line, const WChar* format,
           std::va_list values) {
    ContextLogMessage::logVA(priority, function, u"NorqStd", u"", norq_std_internal::currentThreadId(), file, line,
                             format, values);
}

} // namespace

#define NORQ_DEFINE_WRITER(name, priority)                                                                             \
    void name(const WChar* function, const WChar* file, std::uint32_t line, const WChar* format, ...) {                \
        std::va_list values;                                                                                           \
        va_start(values, format);                                                                                      \
        write(priority, function, file, line, format, values);                                                         \
        va_end(values);                                                                                                \
    }

NORQ_DEFINE_WRITER(__internal_debug, DEBUG)
NORQ_DEFINE_WRITER(__internal_call, CALL)
NORQ_DEFINE_WRITER(__internal_trace, TRACE)
NORQ_DEFINE_WRITER(__internal_dump, DUMP)

} // namespace norq_std

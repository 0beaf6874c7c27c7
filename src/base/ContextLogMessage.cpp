#include "base/ContextLogMessage.h"

#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "internal/LogRoad.h"
#include "internal/ThreadIdMap.h"
#include "internal/WideFormatter.h"

#include <cxxabi.h>

namespace norq_std {

using norq_std_internal::FormatBuffer;
using norq_std_internal::LogRecord;
using norq_std_internal::LogRoad;

namespace {

std::u16string_view orEmpty(const WChar* text) { return text == nullptr ? std::u16string_view() : text; }

/// Sends the record with the message that the arguments give, or with the reason why they give none.
template <class Arguments>
void sendWithMessage(LogRecord record, const WChar* format, Arguments& arguments) {
    FormatBuffer text;
    WString failure;
    try {
        norq_std_internal::formatOrThrow(text, format, arguments);
        record.message = text.text();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const NorqException& e) {
        record.message = failure = e.getMessage();
    } catch (...) {
        record.message = u"Unable to format message.";
    }
    LogRoad::send(record);
}

LogRecord recordOf(LogEventPriority priority, const LogCallSite& site, std::u16string_view message) {
    return {priority,  site.function, message, site.module, {}, norq_std_internal::currentThreadId(),
            site.file, site.line};
}

/// Runs `statement`, from which nothing but a cancellation comes out: what fails here is want of memory.
template <class Statement>
void guarded(Statement statement) {
    try {
        statement();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) { // logging never fails toward the caller
    }
}

} // namespace

ContextLogMessage::ContextLogMessage(const WChar* function, LogEventPriority priority, const WChar* module,
                                     const WChar* file, std::uint32_t line)
    : context{module, function, priority, file, line} {}

ContextLogMessage::~ContextLogMessage() = default;

void ContextLogMessage::log(const WChar* format, ...) const {
    std::va_list values;
    va_start(values, format);
    logVA(context.priority, context.function, context.module, u"", norq_std_internal::currentThreadId(), context.file,
          context.line, format, values);
    va_end(values);
}

void ContextLogMessage::log(LogEventPriority priority, const WChar* function, const WChar* module, const WChar* errorId,
                            std::uint64_t threadId, const WChar* file, std::uint32_t line, const WChar* format, ...) {
    std::va_list values;
    va_start(values, format);
    logVA(priority, function, module, errorId, threadId, file, line, format, values);
    va_end(values);
}

void ContextLogMessage::logVA(LogEventPriority priority, const WChar* function, const WChar* module,
                              const WChar* errorId, std::uint64_t threadId, const WChar* file, std::uint32_t line,
                              const WChar* format, std::va_list values) {
    guarded([&] {
        sendWithMessage(
            {priority, orEmpty(function), {}, orEmpty(module), orEmpty(errorId), threadId, orEmpty(file), line}, format,
            values);
    });
}

// Between the system's write and the caller lies as little as can be: after a call of the system, the processor
// foresees no return.
[[gnu::flatten]] void ContextLogMessage::sendFormatted(LogEventPriority priority, const LogCallSite& site,
                                                       const WChar* format,
                                                       std::initializer_list<FormatArgument> arguments) {
    guarded([&] { sendWithMessage(recordOf(priority, site, {}), format, arguments); });
}

void LogFunctionScope::send(const LogCallSite& site, const WChar* text) noexcept {
    guarded([&] { LogRoad::send(recordOf(CALL, site, text)); });
}

} // namespace norq_std

#include "base/ContextLogMessage.h"

#include "base/LogMacros.h"
#include "base/StaticLog.h"
#include "base/StringUtils.h"
#include "exception/NorqException.h"
#include "internal/ThreadIdMap.h"

#include <cxxabi.h>

namespace norq_std {
namespace {

WString orEmpty(const WChar* text) { return text == nullptr ? WString() : WString(text); }

/// The message that `format` appends to its argument, or the reason why it could not.
template <class Format>
WString formattedMessage(Format format) {
    WString message;
    try {
        format(message);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const NorqException& e) {
        message = e.getMessage();
    } catch (...) {
        message = u"Unable to format message.";
    }
    return message;
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
        const WString message =
            formattedMessage([&](WString& text) { StringUtils::sprintfStringAppendVA(text, values, format); });
        StaticLog::log(priority, orEmpty(function), message, orEmpty(module), orEmpty(errorId), threadId, orEmpty(file),
                       line);
    });
}

void ContextLogMessage::sendFormatted(LogEventPriority priority, const LogCallSite& site, const WChar* format,
                                      std::initializer_list<FormatArgument> arguments) {
    guarded([&] {
        const WString message = formattedMessage([&](WString& text) { detail::formatAppend(text, format, arguments); });
        StaticLog::log(priority, site.function, message, site.module, WString(), norq_std_internal::currentThreadId(),
                       site.file, site.line);
    });
}

void LogFunctionScope::send(const LogCallSite& site, const WChar* text) noexcept {
    guarded([&] {
        StaticLog::log(CALL, site.function, text, site.module, WString(), norq_std_internal::currentThreadId(),
                       site.file, site.line);
    });
}

} // namespace norq_std

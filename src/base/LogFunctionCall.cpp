#include "base/LogFunctionCall.h"

#include "base/StaticLog.h"
#include "base/StringUtils.h"
#include "exception/NorqException.h"
#include "internal/ThreadIdMap.h"

#include <cxxabi.h>

namespace norq_std {
namespace {

WString orEmpty(const WChar* text) { return text == nullptr ? WString() : WString(text); }

WString formattingFailure(const WString& cause) { return u"Error formatting message: " + cause + u"."; }

} // namespace

LogFunctionCall::LogFunctionCall(const WChar* function, const WChar* module, const WChar* file, std::uint32_t line,
                                 LogEventPriority priority, bool logBegin)
    : context{orEmpty(function), orEmpty(module), orEmpty(file), line, priority} {
    if (logBegin && StaticLog::isThresholdOn(priority))
        send(u"Begin.");
}

LogFunctionCall::LogFunctionCall(const WChar* function, const WChar* module, const WChar* file, std::uint32_t line,
                                 LogEventPriority priority, const WChar* format, ...)
    : context{orEmpty(function), orEmpty(module), orEmpty(file), line, priority} {
    if (!StaticLog::isThresholdOn(priority))
        return;
    std::va_list values;
    va_start(values, format);
    printVA(format, values);
    va_end(values);
}

LogFunctionCall::~LogFunctionCall() {
    if (!StaticLog::isThresholdOn(context.priority))
        return;
    try {
        send(u"End.");
    } catch (...) { // want of memory; no cancellation reaches this, since logging puts it off
    }
}

void LogFunctionCall::print(const WChar* format, ...) const {
    if (!StaticLog::isThresholdOn(context.priority))
        return;
    std::va_list values;
    va_start(values, format);
    printVA(format, values);
    va_end(values);
}

void LogFunctionCall::printVA(const WChar* format, std::va_list values) const {
    WString message;
    try {
        StringUtils::sprintfStringAppendVA(message, values, format);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const NorqException& e) {
        message = formattingFailure(e.getMessage());
    } catch (...) {
        message = formattingFailure(u"Unable to format message");
    }
    send(message);
}

void LogFunctionCall::send(const WString& message) const {
    StaticLog::log(context.priority, context.function, message, context.module, WString(),
                   norq_std_internal::currentThreadId(), context.file, context.line);
}

} // namespace norq_std

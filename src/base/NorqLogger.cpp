#include "base/NorqLogger.h"

#include "base/StaticLog.h"
#include "base/StringUtils.h"
#include "exception/NorqException.h"
#include "internal/ThreadIdMap.h"

namespace norq_std {

namespace {

const WChar* operationOf(LogEventPriority priority) {
    switch (priority) {
    case FATAL:
        return u"norq_std::NorqLogger::Fatal";
    case ERROR:
        return u"norq_std::NorqLogger::Error";
    case WARN:
        return u"norq_std::NorqLogger::Warn";
    default:
        return u"norq_std::NorqLogger::Info";
    }
}

} // namespace

NorqLogger::~NorqLogger() = default;

WString NorqLogger::getFunctionName(const WString& text) {
    const auto last = text.rfind(u"::");
    return last == WString::npos ? text : text.substr(last + 2);
}

WString NorqLogger::getQualifiedFunctionName(const WString& text) {
    const auto last = text.rfind(u"::");
    if (last == WString::npos)
        return text;
    const auto beforeLast = last < 2 ? WString::npos : text.rfind(u"::", last - 2);
    return text.substr((beforeLast == WString::npos ? last : beforeLast) + 2);
}

template <class Formatter>
void NorqLogger::send(LogEventPriority priority, const Names& names, const Formatter& appendMessage) {
    const auto threadId = norq_std_internal::currentThreadId();
    WString message;
    try {
        appendMessage(message);
    } catch (const NorqException& failure) {
        if (StaticLog::isThresholdOn(DEBUG))
            StaticLog::log(DEBUG, operationOf(priority),
                           StringUtils::format(u"Error formatting message: %ls.", failure.getMessage()), u"NorqStd", {},
                           threadId, {}, 0);
    }
    StaticLog::log(priority, getQualifiedFunctionName(names.function), message, getModuleName(),
                   getFunctionName(names.id), threadId, {}, 0);
}

void NorqLogger::reportArguments(LogEventPriority priority, const Names& names, const WChar* format,
                                 std::initializer_list<FormatArgument> arguments) {
    send(priority, names, [&](WString& message) { detail::formatAppend(message, format, arguments); });
}

void NorqLogger::reportVA(LogEventPriority priority, const Names& names, const WChar* format, std::va_list values) {
    send(priority, names, [&](WString& message) { StringUtils::sprintfStringAppendVA(message, values, format); });
}

#define NORQ_REPORT(priority)                                                                                          \
    std::va_list values;                                                                                               \
    va_start(values, format);                                                                                          \
    reportVA(priority, {id, function}, format, values);                                                                \
    va_end(values)

void NorqLogger::Fatal(const NorqStd::SWString& id, const NorqStd::SWString& function, const WChar* format, ...) {
    NORQ_REPORT(FATAL);
}

void NorqLogger::Error(const NorqStd::SWString& id, const NorqStd::SWString& function, const WChar* format, ...) {
    NORQ_REPORT(ERROR);
}

void NorqLogger::Warn(const NorqStd::SWString& id, const NorqStd::SWString& function, const WChar* format, ...) {
    NORQ_REPORT(WARN);
}

void NorqLogger::Info(const NorqStd::SWString& id, const NorqStd::SWString& function, const WChar* format, ...) {
    NORQ_REPORT(INFO);
}

#undef NORQ_REPORT

} // namespace norq_std

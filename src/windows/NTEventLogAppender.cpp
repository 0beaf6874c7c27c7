#include "windows/NTEventLogAppender.h"

#include "base/LogMacros.h"
#include "log/LogEvent.h"
#include "windows/NTEventLogWrapper.h"

#include <cstdint>

namespace norq_std {

using norq_std_internal::NTEventLogWrapper;

namespace {

struct Report {
    std::uint16_t type;
    std::uint32_t identifier;
};

Report reportOf(LogEventPriority priority) {
    switch (priority) {
    case WARN:
        return {2, 0x80000003};
    case ERROR:
        return {1, 0x80000004};
    case FATAL:
        return {1, 0xC0000005};
    default:
        return {4, 0x40000002};
    }
}

} // namespace

NTEventLogAppender::NTEventLogAppender()
    : ILogAppender(nullptr, nullptr) {}

NTEventLogAppender::NTEventLogAppender(const NTEventLogAppender&) = default;

NTEventLogAppender& NTEventLogAppender::operator=(const NTEventLogAppender&) = default;

NTEventLogAppender::~NTEventLogAppender() = default;

NTEventLogAppender* NTEventLogAppender::newInstance(const Properties& properties) const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NTEventLogAppender::newInstance");
    const auto named = properties.find(u"sourceName");
    const WString sourceName = named == properties.end() ? StaticLog::getModuleName() : named->second;
    auto appender = std::make_unique<NTEventLogAppender>();
    appender->wrapper = std::make_shared<NTEventLogWrapper>(sourceName);
    return appender.release();
}

WString NTEventLogAppender::getClassName() const { return u"norq_std.NTEventLogAppender"; }

void NTEventLogAppender::localAppend(const LogEvent& event) {
    if (!wrapper)
        return;
    const Report report = reportOf(event.priority);
    static_cast<void>(wrapper->reportEvent(report.type, report.identifier, 0, event.errorId + u" " + event.message));
}

void NTEventLogAppender::localAppend(const WString&) {}

} // namespace norq_std

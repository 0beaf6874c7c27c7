#include "log/NorqLoggerSTD.h"

#include "internal/ReportClock.h"

#define NORQ_NUMBERED(priority, code, ...)                                                                             \
    report(priority, NorqStd::SWString(u"norq_std::NorqLoggerSTD::" #code), NorqStd::SWString(orEmpty(function)),      \
           __VA_ARGS__)

namespace norq_std {
namespace {

constexpr std::uint64_t APPENDER_REPORT_INTERVAL_MS = 30001;

const WChar* orEmpty(const WChar* text) { return text ? text : u""; }

} // namespace

NorqLoggerSTD& NorqLoggerSTD::getInstance() {
    static NorqLoggerSTD& instance = *new NorqLoggerSTD;
    return instance;
}

WString NorqLoggerSTD::getModuleName() const { return u"NorqStd"; }

void NorqLoggerSTD::STD0000(const WChar* function) {
    NORQ_NUMBERED(INFO, STD0000, u"Starting preference change event dispatch thread.");
}

void NorqLoggerSTD::STD0001(const WChar* function) {
    NORQ_NUMBERED(INFO, STD0001, u"Stopping preference change event dispatch thread.");
}

void NorqLoggerSTD::STD0002(const WChar* function, const WChar* factory) {
    NORQ_NUMBERED(INFO, STD0002, u"Using %ls PreferencesFactory.", factory);
}

void NorqLoggerSTD::STD0003(const WChar* function, const WChar* paths) {
    NORQ_NUMBERED(INFO, STD0003, u"Using %ls Paths.", paths);
}

void NorqLoggerSTD::STD0004(const WChar* function, const WChar* client, const WChar* service) {
    NORQ_NUMBERED(INFO, STD0004, u"Client <%ls> connected to service at <%ls>.", client, service);
}

void NorqLoggerSTD::STD0005(const WChar* function, const WChar* client, const WChar* service) {
    NORQ_NUMBERED(INFO, STD0005, u"Client <%ls> disconnected from service at <%ls>.", client, service);
}

void NorqLoggerSTD::STD0006(const WChar* function, const WChar* library) {
    NORQ_NUMBERED(INFO, STD0006, u"Loaded shared library <%ls>.", library);
}

void NorqLoggerSTD::STD0007(const WChar* function, const WChar* library) {
    NORQ_NUMBERED(INFO, STD0007, u"Unloaded shared library <%ls>.", library);
}

void NorqLoggerSTD::STD0008(const WChar* function, const WChar* threshold) {
    NORQ_NUMBERED(INFO, STD0008, u"Debugging threshold changed to: <%ls>.", threshold);
}

void NorqLoggerSTD::STD0009(const WChar* function, std::uint32_t size) {
    NORQ_NUMBERED(INFO, STD0009, u"Maximum file size changed to: <%u>.", size);
}

void NorqLoggerSTD::STD0010(const WChar* function, std::uint32_t count) {
    NORQ_NUMBERED(INFO, STD0010, u"Maximum file count changed to: <%u>.", count);
}

void NorqLoggerSTD::STD2000(const WChar* function, const WChar* client, const WChar* service) {
    NORQ_NUMBERED(ERROR, STD2000, u"Client <%ls> failed to send heart beat to service at <%ls>.", client, service);
}

void NorqLoggerSTD::STD2001(const WChar* function, const WChar* client) {
    NORQ_NUMBERED(ERROR, STD2001, u"Client <%ls> failed to connect to any service.", client);
}

void NorqLoggerSTD::STD2002(const WChar* function, const WChar* reason) {
    NORQ_NUMBERED(ERROR, STD2002, u"The service controller threw an exception: %ls", reason);
}

void NorqLoggerSTD::STD2003(const WChar* function, std::int32_t code, const WChar* reason) {
    NORQ_NUMBERED(ERROR, STD2003, u"Failed to install console control signal translator.  Reason:[%d:%ls]", code,
                  reason);
}

void NorqLoggerSTD::STD2004(const WChar* function, std::int32_t code, const WChar* reason) {
    NORQ_NUMBERED(ERROR, STD2004, u"Failed to remove console control signal translator.  Reason:[%d:%ls]", code,
                  reason);
}

void NorqLoggerSTD::STD3000(const WChar* function, const WChar* subject, const WChar* verb, const WChar* value) {
    NORQ_NUMBERED(WARN, STD3000, u"%ls %ls: <%ls>.", subject, verb, value);
}

void NorqLoggerSTD::STD3001(const WChar* function, const WChar* key) {
    NORQ_NUMBERED(WARN, STD3001, u"Registry key <%ls> is not of REG_SZ or REG_DWORD type.", key);
}

void NorqLoggerSTD::STD3002(const WChar* function, const WChar* key) {
    NORQ_NUMBERED(WARN, STD3002, u"Registry key <%ls> is not of REG_DWORD type.", key);
}

void NorqLoggerSTD::STD3003(const WChar* function) {
    NORQ_NUMBERED(WARN, STD3003, u"Internal error: Caught unknown exception in <%ls>.", function);
}

void NorqLoggerSTD::STD3004(const WChar* function, std::int32_t size) {
    NORQ_NUMBERED(WARN, STD3004, u"Preference change notification queue has reached its maximum size <%d>.", size);
}

void NorqLoggerSTD::STD3005(const WChar* function, std::int32_t size) {
    NORQ_NUMBERED(WARN, STD3005, u"Preference change blocker queue has reached its maximum size <%d>.", size);
}

void NorqLoggerSTD::STD3006(const WChar* function, const WChar* reason) {
    NORQ_NUMBERED(WARN, STD3006, u"Unable to initialize Xerces XML system : %ls", reason);
}

void NorqLoggerSTD::STD3007(const WChar* function, const WChar* reason) {
    NORQ_NUMBERED(WARN, STD3007, u"Unable to shutdown Xerces XML system : %ls", reason);
}

void NorqLoggerSTD::STD3008(const WChar* function, const WChar* name, const WChar* group, const WChar* reason) {
    NORQ_NUMBERED(WARN, STD3008, u"The thread [%ls:%ls] terminated unexpectedly. Reason: %ls", name, group, reason);
}

void NorqLoggerSTD::STD3009(const WChar* function, std::uint64_t threadId, const WChar* thread, const WChar* pool,
                            const WChar* task, const WChar* abortedTask) {
    NORQ_NUMBERED(WARN, STD3009,
                  u"Thread <0x%llx:%ls> in thread pool <%ls> running task <%ls> is considered hung and removed. The "
                  u"running task %ls aborted.",
                  threadId, thread, pool, task, abortedTask);
}

void NorqLoggerSTD::STD3010(const WChar* function, const WChar* factory, const WChar* pool, const WChar* task) {
    NORQ_NUMBERED(
        WARN, STD3010,
        u"Thread factory <%ls> could not create thread for thread pool <%ls>. Potentially discarding task <%ls>.",
        factory, pool, task);
}

void NorqLoggerSTD::STD3011(const WChar* function, const WChar* reason) {
    NORQ_NUMBERED(WARN, STD3011,
                  u"Failed to start the log file compression thread.  Log files may not be compressed automatically. "
                  u"Exception <%ls>",
                  reason);
}

void NorqLoggerSTD::STD3012(const WChar* function, const WChar* failure, std::uint64_t threadId, const WChar* file,
                            const WChar* eventFunction, std::int32_t line) {
    // Marked before the line is sent: the appender that failed sees that line too.
    const auto now = norq_std_internal::reportClockMs();
    auto last = lastAppenderReportMs.load(std::memory_order_relaxed);
    if (now - last < APPENDER_REPORT_INTERVAL_MS ||
        !lastAppenderReportMs.compare_exchange_strong(last, now, std::memory_order_relaxed))
        return;
    NORQ_NUMBERED(
        WARN, STD3012,
        u"Caught <%ls> attempting to log a message. Thread: <0x%llx>, File: <%ls>, Function: <%ls>, Line: <%d>.",
        orEmpty(failure), threadId, orEmpty(file), orEmpty(eventFunction), line);
}

void NorqLoggerSTD::STD3013(const WChar* function, const WChar* name, const WChar* reason) {
    NORQ_NUMBERED(WARN, STD3013, u"Failed to stop <%ls> thread: <%ls>.", name, reason);
}

} // namespace norq_std

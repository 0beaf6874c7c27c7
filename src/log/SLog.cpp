#include "log/SLog.h"

#include "base/EncodingUtils.h"
#include "base/StaticLog.h"
#include "base/StringUtils.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "internal/FormatBuffer.h"
#include "internal/ThreadIdMap.h"
#include "internal/WideFormatter.h"

#include <cxxabi.h>

#include <cstdarg>
#include <utility>

namespace NorqStd {

using norq_std::AutoLock;
using norq_std::EncodingUtils;
using norq_std::Lock;
using norq_std::LogEventPriority;
using norq_std::StaticLog;
using norq_std::StringUtils;
using norq_std::WChar;
using norq_std::WString;

namespace {

constexpr const WChar* PLAIN = u"SLog";
constexpr const WChar* LEVEL_DEBUG = u"SLogLevelDebug";
constexpr const WChar* THRESHOLD_LOG = u"SLogThresholdDebug";

WString textOf(const WString& text) { return text; }
WString textOf(const WChar* text) { return text == nullptr ? WString() : WString(text); }
WString textOf(const char* text) { return text == nullptr ? WString() : EncodingUtils::convertMbcsToUnicode(text, 0); }

WString format(const WChar* text, std::va_list values) {
    WString message;
    StringUtils::sprintfStringAppendVA(message, values, text);
    return message;
}

WString format(const char* text, std::va_list values) {
    if (text == nullptr)
        throw norq_std::NorqIllegalArgumentException(u"Format string cannot be null!");
    norq_std_internal::FormatBuffer message;
    norq_std_internal::formatInto(message, SWString(text).c_str(), values, norq_std_internal::FormatDialect::Narrow);
    return WString(message.text());
}

template <class Unit>
WString formatted(const Unit* text, std::va_list values) {
    try {
        return format(text, values);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return u"Error in printing Log Message. Please check your Log statement.\n";
    }
}

/// Where a line comes from.
struct Origin {
    LogEventPriority priority;
    const WChar* module;
    WString errorId;
    WString function;
};

template <class Unit>
void write(const Origin& origin, const Unit* format, std::va_list values) {
    StaticLog::log(origin.priority, origin.function, formatted(format, values), origin.module, origin.errorId,
                   norq_std_internal::currentThreadId(), WString(), 0);
}

/// The statics of the class: which log is the default, and the one that `GetDefaultLog` made. Neither is owned here,
/// and nothing of it is ever destroyed.
struct Defaults {
    Lock defaultLogLock;
    SLog* defaultLog = nullptr;
    Lock emptyLogLock;
    SLog* emptyLog = nullptr;
};

Defaults& defaults() {
    static Defaults& statics = *new Defaults;
    return statics;
}

} // namespace

SLog::SLog() = default;

SLog::SLog(const SLog& other)
    : initialized(other.IsInitialized())
    , debugLevel(other.debugLevel) {}

SLog& SLog::operator=(const SLog& other) {
    if (this != &other) {
        const bool otherInitialized = other.IsInitialized();
        const AutoLock<Lock> guard(lock);
        initialized = otherInitialized;
        debugLevel = other.debugLevel;
        programName.clear();
        logFile.clear();
    }
    return *this;
}

SLog::~SLog() {
    Defaults& statics = defaults();
    {
        const AutoLock<Lock> guard(statics.defaultLogLock);
        if (statics.defaultLog == this)
            statics.defaultLog = nullptr;
    }
    const AutoLock<Lock> guard(statics.emptyLogLock);
    if (statics.emptyLog == this)
        statics.emptyLog = nullptr;
}

bool SLog::Init(const SWString&, const SWString&) { return Init(); }

bool SLog::Init() {
    const AutoLock<Lock> guard(lock);
    initialized = true;
    return true;
}

bool SLog::Init(const SWString&, const SWString&, const SWString&, bool, bool) { return Init(); }

void SLog::Close() {}

bool SLog::IsInitialized() const {
    const AutoLock<Lock> guard(lock);
    return initialized;
}

// A C-variadic function must read its own values: each of these differs in name, types and row of the table alone.
#define NORQ_SLOG_WRITE(priority, module, errorId, function)                                                           \
    std::va_list values;                                                                                               \
    va_start(values, format);                                                                                          \
    write({norq_std::priority, module, errorId, function}, format, values);                                            \
    va_end(values)

#define NORQ_SLOG_FAMILY(Name, priority, Text, Unit)                                                                   \
    void SLog::Name(Text errorId, Text function, const Unit* format, ...) {                                            \
        NORQ_SLOG_WRITE(priority, PLAIN, textOf(errorId), textOf(function));                                           \
    }

NORQ_SLOG_FAMILY(Fatal, FATAL, const SWString&, WChar)
NORQ_SLOG_FAMILY(FatalC, FATAL, const char*, char)
NORQ_SLOG_FAMILY(FatalC, FATAL, const WChar*, WChar)

#define NORQ_SLOG_FAMILIES(Name, priority)                                                                             \
    NORQ_SLOG_FAMILY(Name, priority, const SWString&, char)                                                            \
    NORQ_SLOG_FAMILY(Name, priority, const SWString&, WChar)                                                           \
    NORQ_SLOG_FAMILY(Name##C, priority, const char*, char)                                                             \
    NORQ_SLOG_FAMILY(Name##C, priority, const WChar*, WChar)

NORQ_SLOG_FAMILIES(Error, ERROR)
NORQ_SLOG_FAMILIES(Major, ERROR)
NORQ_SLOG_FAMILIES(Warn, WARN)
NORQ_SLOG_FAMILIES(Minor, WARN)
NORQ_SLOG_FAMILIES(Info, INFO)

#define NORQ_SLOG_DEBUG(Name, Text, Unit)                                                                              \
    void SLog::Name(int, Text function, const Unit* format, ...) {                                                     \
        NORQ_SLOG_WRITE(DEBUG, LEVEL_DEBUG, WString(), textOf(function));                                              \
    }

NORQ_SLOG_DEBUG(Debug, const SWString&, char)
NORQ_SLOG_DEBUG(Debug, const SWString&, WChar)
NORQ_SLOG_DEBUG(DebugC, const char*, char)
NORQ_SLOG_DEBUG(DebugC, const WChar*, WChar)

#define NORQ_SLOG_THRESHOLD(Name, priority, Text, Unit)                                                                \
    void SLog::Name(Text function, const Unit* format, ...) {                                                          \
        if (!StaticLog::isThresholdOn(norq_std::priority))                                                             \
            return;                                                                                                    \
        NORQ_SLOG_WRITE(priority, THRESHOLD_LOG, WString(), textOf(function));                                         \
    }

NORQ_SLOG_THRESHOLD(Trace, TRACE, const SWString&, char)
NORQ_SLOG_THRESHOLD(Trace, TRACE, const SWString&, WChar)
NORQ_SLOG_THRESHOLD(TraceC, TRACE, const char*, char)
NORQ_SLOG_THRESHOLD(TraceC, TRACE, const char*, WChar)
NORQ_SLOG_THRESHOLD(ThreshDebug, DEBUG, const WChar*, WChar)
NORQ_SLOG_THRESHOLD(ThreshCall, CALL, const WChar*, WChar)
NORQ_SLOG_THRESHOLD(ThreshTrace, TRACE, const WChar*, WChar)
NORQ_SLOG_THRESHOLD(ThreshDump, DUMP, const WChar*, WChar)

bool SLog::IsDebugOn() const { return StaticLog::isThresholdOn(norq_std::DEBUG); }

bool SLog::IsDebugThresholdOn(thresholdEnumType type) const {
    switch (type) {
    case THRESHOLD_DEBUG:
        return StaticLog::isThresholdOn(norq_std::DEBUG);
    case THRESHOLD_CALL:
        return StaticLog::isThresholdOn(norq_std::CALL);
    case THRESHOLD_TRACE:
        return StaticLog::isThresholdOn(norq_std::TRACE);
    case THRESHOLD_DUMP:
        break;
    }
    return StaticLog::isThresholdOn(norq_std::DUMP);
}

bool SLog::IsDebugLevelOn(int) const { return true; }

SWString SLog::GetThreshold() const { return {}; }
int SLog::GetDbgFileSize() const { return 0; }
int SLog::GetLogFileSize() const { return 0; }
int SLog::GetDbgFiles() const { return 0; }
int SLog::GetLogFiles() const { return 0; }

bool SLog::EnableNTEventLogging() { return true; }
bool SLog::AddVersionModule(const SWString&) { return true; }
bool SLog::DeleteVersionModule(const SWString&) { return true; }
bool SLog::StartCfgFileMonitoring() { return true; }
bool SLog::StopCfgFileMonitoring() { return true; }

void SLog::AddAppender(const std::shared_ptr<norq_std::ILogAppender>&) {}
void SLog::RemoveAppender(const std::shared_ptr<norq_std::ILogAppender>&) {}
void SLog::SetDebugRange(int, int) {}
void SLog::DisableNTEventLogging() {}
void SLog::EnableOutputDebugAppending() {}
void SLog::DisableOutputDebugAppending() {}
void SLog::SetCallThresholdRange(int, int) {}
void SLog::SetTraceThresholdRange(int, int) {}
void SLog::SetDumpThresholdRange(int, int) {}
void SLog::SetDebugThresholdRange(int, int) {}
void SLog::SetThreshold(const SWString&) {}
void SLog::SetProgName(const SWString&) {}
void SLog::SetDbgFileSize(int) {}
void SLog::SetLogFileSize(int) {}
void SLog::SetDbgFiles(int) {}
void SLog::SetLogFiles(int) {}
void SLog::SetDebugLevel(int) {}

void SLog::SetDefaultLog(SLog* log) {
    Defaults& statics = defaults();
    const AutoLock<Lock> guard(statics.defaultLogLock);
    statics.defaultLog = log;
}

SLog* SLog::GetDefaultLog() {
    Defaults& statics = defaults();
    const AutoLock<Lock> guard(statics.defaultLogLock);
    if (statics.defaultLog == nullptr) {
        const AutoLock<Lock> emptyGuard(statics.emptyLogLock);
        if (statics.emptyLog == nullptr)
            statics.emptyLog = new SLog;
        statics.defaultLog = statics.emptyLog;
    }
    return statics.defaultLog;
}

bool SLog::IsDefaultLogEmpty() {
    Defaults& statics = defaults();
    const AutoLock<Lock> guard(statics.defaultLogLock);
    const AutoLock<Lock> emptyGuard(statics.emptyLogLock);
    return statics.defaultLog == nullptr || statics.defaultLog == statics.emptyLog;
}

} // namespace NorqStd

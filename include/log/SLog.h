#pragma once

#include "base/Export.h"
#include "base/LogEventPriority.h"
#include "base/SWString.h"
#include "base/WString.h"
#include "concurrency/Lock.h"

#include <concepts>
#include <cstdint>
#include <memory>

namespace norq_std {
class ILogAppender;
}

namespace NorqStd {

/// Argument of `SLog::IsDebugThresholdOn`; every other value asks for DUMP.
enum thresholdEnumType : int {
    THRESHOLD_DEBUG = 3,
    THRESHOLD_CALL = 4,
    THRESHOLD_TRACE = 5,
    THRESHOLD_DUMP = 6,
};

/// The log class of older callers, as a front of the process-wide log: everything written goes to
/// `norq_std::StaticLog`, and what sets files, sizes and thresholds does nothing, since the configuration file does.
///
/// Formats are those of base/WideFormat.h; in a narrow format `%s` and `%c` take narrow text and `%ls` and `%S` wide
/// text, and the result is read in code page 0. A format that fails is replaced by a fixed text; nothing is thrown. A
/// null error id or function counts as an empty one. Any thread may call any operation.
class NORQSTD_EXPORT SLog {
    using WChar = norq_std::WChar;
    using LogEventPriority = norq_std::LogEventPriority;

public:
    SLog();
    SLog(const SLog& other);
    SLog& operator=(const SLog& other);
    /// Takes the object out of the statics that refer to it.
    virtual ~SLog();

    /// Mark the log as initialized and return true; the arguments have no meaning any more.
    virtual bool Init(const SWString& programName, const SWString& logFile);
    virtual bool Init();
    virtual bool Init(const SWString& debugPath, const SWString& logPath, const SWString& programPath, bool debug,
                      bool monitor);
    virtual void Close();
    bool IsInitialized() const;

    // Written whatever the threshold is.

    void Fatal(const SWString& errorId, const SWString& function, const WChar* format, ...);
    template <std::derived_from<SWString> Format, class... Values>
    void Fatal(const SWString& errorId, const SWString& function, const Format& format, Values... values) {
        Fatal(errorId, function, format.t_str(), values...);
    }
    void FatalC(const char* errorId, const char* function, const char* format, ...);
    void FatalC(const WChar* errorId, const WChar* function, const WChar* format, ...);

    void Error(const SWString& errorId, const SWString& function, const char* format, ...);
    void Error(const SWString& errorId, const SWString& function, const WChar* format, ...);
    void ErrorC(const char* errorId, const char* function, const char* format, ...);
    void ErrorC(const WChar* errorId, const WChar* function, const WChar* format, ...);

    /// As `Error`.
    void Major(const SWString& errorId, const SWString& function, const char* format, ...);
    void Major(const SWString& errorId, const SWString& function, const WChar* format, ...);
    void MajorC(const char* errorId, const char* function, const char* format, ...);
    void MajorC(const WChar* errorId, const WChar* function, const WChar* format, ...);

    void Warn(const SWString& errorId, const SWString& function, const char* format, ...);
    void Warn(const SWString& errorId, const SWString& function, const WChar* format, ...);
    void WarnC(const char* errorId, const char* function, const char* format, ...);
    void WarnC(const WChar* errorId, const WChar* function, const WChar* format, ...);

    /// As `Warn`.
    void Minor(const SWString& errorId, const SWString& function, const char* format, ...);
    void Minor(const SWString& errorId, const SWString& function, const WChar* format, ...);
    void MinorC(const char* errorId, const char* function, const char* format, ...);
    void MinorC(const WChar* errorId, const WChar* function, const WChar* format, ...);

    void Info(const SWString& errorId, const SWString& function, const char* format, ...);
    void Info(const SWString& errorId, const SWString& function, const WChar* format, ...);
    void InfoC(const char* errorId, const char* function, const char* format, ...);
    void InfoC(const WChar* errorId, const WChar* function, const WChar* format, ...);

    /// The level has no meaning any more.
    void Debug(int level, const SWString& function, const char* format, ...);
    void Debug(int level, const SWString& function, const WChar* format, ...);
    void DebugC(int level, const char* function, const char* format, ...);
    void DebugC(int level, const WChar* function, const WChar* format, ...);

    // Written, and formatted, only if the threshold of the name is on.

    void Trace(const SWString& function, const char* format, ...);
    void Trace(const SWString& function, const WChar* format, ...);
    void TraceC(const char* function, const char* format, ...);
    void TraceC(const char* function, const WChar* format, ...);
    void ThreshDebug(const WChar* function, const WChar* format, ...);
    void ThreshCall(const WChar* function, const WChar* format, ...);
    void ThreshTrace(const WChar* function, const WChar* format, ...);
    void ThreshDump(const WChar* function, const WChar* format, ...);

    bool IsDebugOn() const;
    bool IsDebugThresholdOn(thresholdEnumType type) const;
    bool IsDebugLevelOn(int level) const;

    // What older callers may still ask and set: fixed answers, and no effect.

    SWString GetThreshold() const;
    int GetDbgFileSize() const;
    int GetLogFileSize() const;
    int GetDbgFiles() const;
    int GetLogFiles() const;

    bool EnableNTEventLogging();
    bool AddVersionModule(const SWString& module);
    bool DeleteVersionModule(const SWString& module);
    bool StartCfgFileMonitoring();
    bool StopCfgFileMonitoring();

    void AddAppender(const std::shared_ptr<norq_std::ILogAppender>& appender);
    void RemoveAppender(const std::shared_ptr<norq_std::ILogAppender>& appender);
    void SetDebugRange(int low, int high);
    void DisableNTEventLogging();
    void EnableOutputDebugAppending();
    void DisableOutputDebugAppending();
    void SetCallThresholdRange(int low, int high);
    void SetTraceThresholdRange(int low, int high);
    void SetDumpThresholdRange(int low, int high);
    void SetDebugThresholdRange(int low, int high);
    void SetThreshold(const SWString& threshold);
    void SetProgName(const SWString& name);
    void SetDbgFileSize(int size);
    void SetLogFileSize(int size);
    void SetDbgFiles(int count);
    void SetLogFiles(int count);
    void SetDebugLevel(int level);

    /// The log that older callers share. It is not owned, and may be null.
    static void SetDefaultLog(SLog* log);
    /// The default log; where none is set, one that is made here, and lives as long as the process.
    static SLog* GetDefaultLog();
    /// Whether no default log is set but the one that `GetDefaultLog` made.
    static bool IsDefaultLogEmpty();

private:
    mutable norq_std::Lock lock;
    bool initialized = false;
    SWString programName;
    std::int32_t debugLevel = 1;
    SWString logFile;
};

} // namespace NorqStd

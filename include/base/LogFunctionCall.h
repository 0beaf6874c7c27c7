#pragma once

#include "base/Export.h"
#include "base/LogEventPriority.h"
#include "base/WString.h"

#include <cstdarg>
#include <cstdint>

namespace norq_std {

/// Traces the life of one function call, as a local object: a line when it is made, "End." when it dies, each only if
/// the threshold allows at that moment, so that a threshold that changes in between shows as a lone line.
///
/// It keeps copies of its texts, for callers whose texts may die; a null text is an empty one. Where the texts are
/// literals, `NORQ_LOG_FUNCTION_CALL` of base/LogMacros.h does the same without a copy. An object belongs to one
/// thread.
class NORQSTD_EXPORT LogFunctionCall {
public:
    /// Sends "Begin." if `logBegin` is true.
    LogFunctionCall(const WChar* function, const WChar* module, const WChar* file, std::uint32_t line,
                    LogEventPriority priority, bool logBegin);
    /// Sends the formatted values in place of "Begin.".
    LogFunctionCall(const WChar* function, const WChar* module, const WChar* file, std::uint32_t line,
                    LogEventPriority priority, const WChar* format, ...);
    LogFunctionCall(const LogFunctionCall&) = delete;
    LogFunctionCall& operator=(const LogFunctionCall&) = delete;
    virtual ~LogFunctionCall();

    /// Sends the formatted values in the same context. Nothing is formatted unless the threshold allows.
    void print(const WChar* format, ...) const;

private:
    void printVA(const WChar* format, std::va_list values) const;
    void send(const WString& message) const;

    struct Context {
        WString function;
        WString module;
        WString file;
        std::uint32_t line;
        LogEventPriority priority;
    };

    Context context;
};

} // namespace norq_std

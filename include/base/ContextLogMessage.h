#pragma once

#include "base/Export.h"
#include "base/LogCallSite.h"
#include "base/LogEventPriority.h"
#include "base/WString.h"
#include "base/WideFormat.h"

#include <cstdarg>
#include <cstdint>
#include <initializer_list>
#include <type_traits>

namespace norq_std {

/// A log statement: its context, and the sending of a formatted message with it.
///
/// The object keeps pointers: the texts live as long as it does. Nothing here tests the threshold, so that a caller
/// asks `StaticLog::isThresholdOn` first and pays for nothing when the line is off. Nothing here throws to the caller:
/// a message that cannot be formatted is replaced by the reason. An object belongs to one thread.
///
/// Statements of this library and new code use the checked macro `NORQ_LOG` of base/LogMacros.h.
class NORQSTD_EXPORT ContextLogMessage {
public:
    ContextLogMessage(const WChar* function, LogEventPriority priority, const WChar* module, const WChar* file,
                      std::uint32_t line);
    virtual ~ContextLogMessage();

    /// Sends the stored context with an empty error id and the calling thread's id.
    void log(const WChar* format, ...) const;

    static void log(LogEventPriority priority, const WChar* function, const WChar* module, const WChar* errorId,
                    std::uint64_t threadId, const WChar* file, std::uint32_t line, const WChar* format, ...);
    static void logVA(LogEventPriority priority, const WChar* function, const WChar* module, const WChar* errorId,
                      std::uint64_t threadId, const WChar* file, std::uint32_t line, const WChar* format,
                      std::va_list values);

    /// The checked form: the compiler refuses a format that does not fit its arguments.
    template <class... A>
    static void send(LogEventPriority priority, const LogCallSite& site, WideFormat<std::type_identity_t<A>...> format,
                     const A&... arguments) {
        sendFormatted(priority, site, format.text(), {FormatArgument(arguments)...});
    }

private:
    static void sendFormatted(LogEventPriority priority, const LogCallSite& site, const WChar* format,
                              std::initializer_list<FormatArgument> arguments);

    struct Context {
        const WChar* module;
        const WChar* function;
        LogEventPriority priority;
        const WChar* file;
        std::uint32_t line;
    };

    Context context;
};

} // namespace norq_std

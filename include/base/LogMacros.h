#pragma once

#include "base/ContextLogMessage.h"
#include "base/LogCallSite.h"
#include "base/LogFunctionCall.h"
#include "base/StaticLog.h"

namespace norq_std {

/// Traces one call at priority CALL from a static call site: "Begin." now, "End." when it dies, each only if the
/// threshold allows at that moment. Disabled it costs two tests and copies nothing.
class LogFunctionScope {
public:
    explicit LogFunctionScope(const LogCallSite& callSite, bool logBegin = true)
        : site(callSite) {
        if (logBegin && StaticLog::isThresholdOn(CALL)) [[unlikely]]
            send(site, u"Begin.");
    }
    ~LogFunctionScope() {
        if (StaticLog::isThresholdOn(CALL)) [[unlikely]]
            send(site, u"End.");
    }
    LogFunctionScope(const LogFunctionScope&) = delete;
    LogFunctionScope& operator=(const LogFunctionScope&) = delete;

private:
    /// Swallows every failure; no cancellation point.
    NORQSTD_EXPORT static void send(const LogCallSite& site, const WChar* text) noexcept;

    const LogCallSite& site;
};

} // namespace norq_std

#define NORQ_DETAIL_CONCAT2(a, b) a##b
#define NORQ_DETAIL_CONCAT(a, b) NORQ_DETAIL_CONCAT2(a, b)
#define NORQ_DETAIL_WIDE2(text) u##text
#define NORQ_DETAIL_WIDE(text) NORQ_DETAIL_WIDE2(text)

/// A static call-site record. `functionName` is a wide literal with the qualified name; the module is NORQ_LOG_MODULE
/// where the including file defines it as a wide literal, else "NorqStd".
#ifdef NORQ_LOG_MODULE
#define NORQ_DETAIL_MODULE NORQ_LOG_MODULE
#else
#define NORQ_DETAIL_MODULE u"NorqStd"
#endif

#define NORQ_DETAIL_CALL_SITE(name, functionName)                                                                      \
    static constexpr ::norq_std::LogCallSite name {                                                                    \
        functionName, NORQ_DETAIL_MODULE, ::norq_std::detail::pathLeaf(NORQ_DETAIL_WIDE(__FILE__)), __LINE__           \
    }

/// Opens a function of the library: traces its begin and end at priority CALL.
#define NORQ_LOG_FUNCTION_CALL(functionName)                                                                           \
    NORQ_DETAIL_CALL_SITE(NORQ_DETAIL_CONCAT(norqCallSite_, __LINE__), functionName);                                  \
    const ::norq_std::LogFunctionScope NORQ_DETAIL_CONCAT(norqFunctionScope_, __LINE__) {                              \
        NORQ_DETAIL_CONCAT(norqCallSite_, __LINE__)                                                                    \
    }

/// The same with a text in place of "Begin.", of which nothing is evaluated unless the threshold allows.
#define NORQ_LOG_FUNCTION_CALL_TEXT(functionName, ...)                                                                 \
    NORQ_DETAIL_CALL_SITE(NORQ_DETAIL_CONCAT(norqCallSite_, __LINE__), functionName);                                  \
    if (::norq_std::StaticLog::isThresholdOn(::norq_std::CALL)) [[unlikely]]                                           \
        ::norq_std::ContextLogMessage::send(::norq_std::CALL, NORQ_DETAIL_CONCAT(norqCallSite_, __LINE__),             \
                                            __VA_ARGS__);                                                              \
    const ::norq_std::LogFunctionScope NORQ_DETAIL_CONCAT(norqFunctionScope_, __LINE__) {                              \
        NORQ_DETAIL_CONCAT(norqCallSite_, __LINE__), false                                                             \
    }

/// A statement: NORQ_LOG(DEBUG, u"ns::f", u"%d files", n). Nothing is formatted, and no argument evaluated, unless the
/// threshold allows; the format is checked against the arguments at compile time.
#define NORQ_LOG(priority, functionName, ...)                                                                          \
    do {                                                                                                               \
        if (::norq_std::StaticLog::isThresholdOn(priority)) [[unlikely]] {                                             \
            NORQ_DETAIL_CALL_SITE(norqCallSite, functionName);                                                         \
            ::norq_std::ContextLogMessage::send(priority, norqCallSite, __VA_ARGS__);                                  \
        }                                                                                                              \
    } while (false)

#pragma once

#include "base/AutoRegisterClass.h"
#include "base/Export.h"
#include "log/ILogEventLayout.h"

namespace norq_std {

/// The line of every log file:
///
///     2024-03-07 09:05:02:041 INFO Service started.
///     2024-03-07 09:05:02:041 DEBUG [0x1f4] Worker[88] norq_std::Worker::run: Queue drained.
///
/// that is local time to the millisecond, priority, thread id (debug form only, where known), error id, source file and
/// line (each where known), function (debug form only), message, and one line feed unless the message brings its own.
/// Line feeds inside a message stay as they are.
///
/// Registered as "norq_std.NorqLogLayout"; the property "debug" with the value "true" makes the debug form. Immutable:
/// any thread may use it.
class NORQSTD_EXPORT NorqLogLayout : public ILogEventLayout, public AutoRegisterClass<NorqLogLayout> {
public:
    explicit NorqLogLayout(bool debugForm = false);
    ~NorqLogLayout() override;

    WString toString() const override;
    NorqLogLayout* newInstance(const Properties& properties) const override;
    WString getClassName() const override;

    WString format(const LogEvent& event) override;

    /// The same line at the end of `line`, for writers that keep a buffer of their own.
    void appendLine(WString& line, const LogEvent& event) const;

private:
    static void appendTimestamp(WString& line, const LogEvent& event);
    static void appendPriority(WString& line, const LogEvent& event);
    void appendThreadId(WString& line, const LogEvent& event) const;
    static void appendErrorId(WString& line, const LogEvent& event);
    static void appendFileName(WString& line, const LogEvent& event);
    static void appendLineNumber(WString& line, const LogEvent& event);
    void appendFunction(WString& line, const LogEvent& event) const;
    static void appendMessage(WString& line, const LogEvent& event);

    bool debug;
};

} // namespace norq_std

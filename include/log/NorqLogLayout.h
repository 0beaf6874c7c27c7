#pragma once

#include "base/AutoRegisterClass.h"
#include "base/Export.h"
#include "log/ILogEventLayout.h"

namespace norq_std_internal {
class EncodedLine;
struct LogRecord;
} // namespace norq_std_internal

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
    friend class ILogAppender;
    friend class LoggerBase;

    // A line is wide text or bytes to be written, and an event a LogEvent or what becomes one.
    template <class Line, class Event>
    void appendRest(Line& line, const Event& event) const;

    static void appendTimestamp(WString& line, const LogEvent& event);
    template <class Line, class Event>
    static void appendPriority(Line& line, const Event& event);
    template <class Line, class Event>
    void appendThreadId(Line& line, const Event& event) const;
    template <class Line, class Event>
    static void appendErrorId(Line& line, const Event& event);
    template <class Line, class Event>
    static void appendFileName(Line& line, const Event& event);
    template <class Line, class Event>
    static void appendLineNumber(Line& line, const Event& event);
    template <class Line, class Event>
    void appendFunction(Line& line, const Event& event) const;
    template <class Line, class Event>
    static void appendMessage(Line& line, const Event& event);

    /// All but the time, encoded.
    static void encode(norq_std_internal::EncodedLine& line, const norq_std_internal::LogRecord& record,
                       bool debugForm);

    bool debug;
};

} // namespace norq_std

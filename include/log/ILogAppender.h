#pragma once

#include "base/Configurable.h"
#include "base/Export.h"
#include "base/WString.h"

#include <cstdint>
#include <memory>

namespace norq_std {

class ILogEventFilter;
class ILogEventLayout;
class LogEvent;

/// Writes log events to one place: asks its filter, renders with its layout, hands the text to `localAppend`.
///
/// An appender without a filter writes nothing. One without a layout receives the events themselves. `LoggerBase` calls
/// appenders one at a time; setting filter and layout takes no lock and is for set-up time. An appender may throw: the
/// event is then lost for it alone.
class NORQSTD_EXPORT ILogAppender : public Configurable {
public:
    /// Either may be null, to be set later.
    ILogAppender(const std::shared_ptr<ILogEventFilter>& initialFilter,
                 const std::shared_ptr<ILogEventLayout>& initialLayout);
    ILogAppender(const ILogAppender&);
    ILogAppender& operator=(const ILogAppender&);
    ~ILogAppender() override;

    /// Passes the property on to the filter and then to the layout.
    void setProperty(const WString& key, const WString& value) override;

    void setFilter(const std::shared_ptr<ILogEventFilter>& filter);
    void setLayout(const std::shared_ptr<ILogEventLayout>& layout);

    /// Writes the event if the filter accepts it.
    void append(const LogEvent& event);

protected:
    /// Writes an event that no layout has rendered.
    virtual void localAppend(const LogEvent& event) = 0;
    /// Writes the text of an event.
    virtual void localAppend(const WString& text) = 0;

private:
    friend class LoggerBase;

    // What the logger knows of the library's own filters and layouts, it need not call them for.
    enum class FilterKind : std::uint8_t { None, Everything, InfoAndAbove, Other };
    enum class LayoutKind : std::uint8_t { None, Plain, Debug, Other };

    static FilterKind kindOf(const ILogEventFilter* filter);
    static LayoutKind kindOf(const ILogEventLayout* layout);

    std::shared_ptr<ILogEventFilter> filter;
    std::shared_ptr<ILogEventLayout> layout;
    FilterKind filterKind;
    LayoutKind layoutKind;
};

} // namespace norq_std

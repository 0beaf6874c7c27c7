#include "log/ILogAppender.h"

#include "log/DebugFileFilter.h"
#include "log/ILogEventFilter.h"
#include "log/ILogEventLayout.h"
#include "log/LogFileFilter.h"
#include "log/NorqLogLayout.h"

#include <typeinfo>

namespace norq_std {

ILogEventFilter::~ILogEventFilter() = default;

ILogEventLayout::~ILogEventLayout() = default;

ILogAppender::ILogAppender(const std::shared_ptr<ILogEventFilter>& initialFilter,
                           const std::shared_ptr<ILogEventLayout>& initialLayout)
    : filter(initialFilter)
    , layout(initialLayout)
    , filterKind(kindOf(filter.get()))
    , layoutKind(kindOf(layout.get())) {}

ILogAppender::ILogAppender(const ILogAppender&) = default;

ILogAppender& ILogAppender::operator=(const ILogAppender&) = default;

ILogAppender::~ILogAppender() = default;

void ILogAppender::setProperty(const WString& key, const WString& value) {
    if (filter)
        filter->setProperty(key, value);
    if (layout)
        layout->setProperty(key, value);
}

void ILogAppender::setFilter(const std::shared_ptr<ILogEventFilter>& newFilter) {
    filter = newFilter;
    filterKind = kindOf(filter.get());
}

void ILogAppender::setLayout(const std::shared_ptr<ILogEventLayout>& newLayout) {
    layout = newLayout;
    layoutKind = kindOf(layout.get());
}

// A class derived from these is another.

ILogAppender::FilterKind ILogAppender::kindOf(const ILogEventFilter* filter) {
    if (filter == nullptr)
        return FilterKind::None;
    if (typeid(*filter) == typeid(DebugFileFilter))
        return FilterKind::Everything;
    return typeid(*filter) == typeid(LogFileFilter) ? FilterKind::InfoAndAbove : FilterKind::Other;
}

ILogAppender::LayoutKind ILogAppender::kindOf(const ILogEventLayout* layout) {
    if (layout == nullptr)
        return LayoutKind::None;
    if (typeid(*layout) != typeid(NorqLogLayout))
        return LayoutKind::Other;
    return static_cast<const NorqLogLayout*>(layout)->debug ? LayoutKind::Debug : LayoutKind::Plain;
}

void ILogAppender::append(const LogEvent& event) {
    if (!filter || filter->decide(event) != ILogEventFilter::ACCEPT)
        return;
    if (layout)
        localAppend(layout->format(event));
    else
        localAppend(event);
}

} // namespace norq_std

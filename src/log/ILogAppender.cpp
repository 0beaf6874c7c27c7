#include "log/ILogAppender.h"

#include "log/ILogEventFilter.h"
#include "log/ILogEventLayout.h"

namespace norq_std {

ILogEventFilter::~ILogEventFilter() = default;

ILogEventLayout::~ILogEventLayout() = default;

ILogAppender::ILogAppender(const std::shared_ptr<ILogEventFilter>& initialFilter,
                           const std::shared_ptr<ILogEventLayout>& initialLayout)
    : filter(initialFilter)
    , layout(initialLayout) {}

ILogAppender::ILogAppender(const ILogAppender&) = default;

ILogAppender& ILogAppender::operator=(const ILogAppender&) = default;

ILogAppender::~ILogAppender() = default;

void ILogAppender::setProperty(const WString& key, const WString& value) {
    if (filter)
        filter->setProperty(key, value);
    if (layout)
        layout->setProperty(key, value);
}

void ILogAppender::setFilter(const std::shared_ptr<ILogEventFilter>& newFilter) { filter = newFilter; }

void ILogAppender::setLayout(const std::shared_ptr<ILogEventLayout>& newLayout) { layout = newLayout; }

void ILogAppender::append(const LogEvent& event) {
    if (!filter || filter->decide(event) != ILogEventFilter::ACCEPT)
        return;
    if (layout)
        localAppend(layout->format(event));
    else
        localAppend(event);
}

} // namespace norq_std

#include "MatchFilter.h"

#include "base/JsonString.h"
#include "concurrency/AutoLock.h"
#include "log/LogEvent.h"

#include <string_view>
#include <utility>

namespace shipper {
namespace {

/// The escaped text of the event's line: it ends at the first quote that is not escaped.
std::u16string_view lineOf(std::u16string_view event) {
    constexpr std::u16string_view KEY = u"\"text\":\"";
    const std::size_t key = event.find(KEY);
    if (key == std::u16string_view::npos)
        return {};
    event.remove_prefix(key + KEY.size());
    std::size_t end = 0;
    while (end < event.size() && event[end] != u'"')
        end += event[end] == u'\\' ? 2u : 1u;
    return event.substr(0, end);
}

} // namespace

MatchFilter::MatchFilter(const norq_std::WString& text)
    : needle(norq_std::JsonString::escape(text)) {}

void MatchFilter::setText(const norq_std::WString& text) {
    norq_std::WString escaped = norq_std::JsonString::escape(text);
    const norq_std::AutoLock<norq_std::Lock> guard(lock);
    needle = std::move(escaped);
}

norq_std::WString MatchFilter::toString() const {
    const norq_std::AutoLock<norq_std::Lock> guard(lock);
    return u"MatchFilter{needle='" + needle + u"'}";
}

MatchFilter* MatchFilter::newInstance(const Properties& properties) const {
    const auto text = properties.find(u"text");
    return new MatchFilter(text == properties.end() ? norq_std::WString() : text->second);
}

MatchFilter::FilterDecision MatchFilter::decide(const norq_std::LogEvent& event) {
    return accepts(event.message) ? ACCEPT : DENY;
}

bool MatchFilter::accepts(const norq_std::WString& event) const {
    const norq_std::AutoLock<norq_std::Lock> guard(lock);
    return lineOf(event).find(needle) != std::u16string_view::npos;
}

} // namespace shipper

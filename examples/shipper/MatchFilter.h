#pragma once

#include "concurrency/Lock.h"
#include "log/ILogEventFilter.h"

namespace shipper {

/// Accepts events whose line holds a given text, compared exactly. It looks at the "text" of the event alone, and not
/// at the name of its file.
class MatchFilter : public norq_std::ILogEventFilter {
public:
    explicit MatchFilter(const norq_std::WString& text);

    norq_std::WString toString() const override;
    MatchFilter* newInstance(const Properties& properties) const override;
    FilterDecision decide(const norq_std::LogEvent& event) override;

    /// The same for the text of an event.
    bool accepts(const norq_std::WString& event) const;

    /// From now on; the empty text accepts all.
    void setText(const norq_std::WString& text);

private:
    mutable norq_std::Lock lock; ///< guards the text, which may be set while lines are shipped
    norq_std::WString needle;    ///< as it stands in JSON
};

} // namespace shipper

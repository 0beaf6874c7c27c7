#pragma once

#include "base/Object.h"
#include "base/WString.h"
#include "concurrency/Event.h"
#include "concurrency/Lock.h"
#include "prefs/PreferenceChangeListener.h"

#include <cstdint>
#include <list>
#include <memory>
#include <queue>
#include <vector>

namespace norq_std_internal {
class PreferenceChangeRelay;
}

namespace norq_std {

class Preferences;

/// A listener to one node or several that a thread waits on for the next change.
///
///     PreferenceChangeBlocker changes(stop, u"settings", false);
///     while (const auto event = changes.getEvent(-1))
///         apply(event->getKey(), event->getNewValue());
///
/// It listens from its construction to its destruction. The stop event is the caller's, who keeps it alive; once it is
/// signaled no wait blocks. What comes while `DEFAULT_MAX_QUEUE_SIZE` events wait is lost, with a warning in the log.
/// One thread reads at a time; the destructor must not run while it does.
class NORQSTD_EXPORT PreferenceChangeBlocker : public PreferenceChangeListener, public Object {
public:
    static constexpr std::int32_t DEFAULT_MAX_QUEUE_SIZE = 200;

    // Throw `NorqIllegalArgumentException` for a path key that has no path, for none at all and for a null node.

    /// The node whose path `Paths` has for the key, as by `PreferencesUtils::getNode`.
    PreferenceChangeBlocker(Event& stopEvent, const WString& pathKey, bool isSystem);
    PreferenceChangeBlocker(Event& stopEvent, const std::vector<WString>& pathKeys, bool isSystem);
    PreferenceChangeBlocker(Event& stopEvent, const std::shared_ptr<Preferences>& node);
    PreferenceChangeBlocker(Event& stopEvent, const std::list<std::shared_ptr<Preferences>>& nodes);
    PreferenceChangeBlocker(const PreferenceChangeBlocker&) = delete;
    PreferenceChangeBlocker& operator=(const PreferenceChangeBlocker&) = delete;
    ~PreferenceChangeBlocker() override;

    WString toString() const override;
    virtual WString getClassName() const;

    void preferenceChange(const std::shared_ptr<PreferenceChangeEvent>& event) override;

    /// The next event; null if none came within that many milliseconds (negative: without limit), or if the stop event
    /// was signaled and none is there.
    std::shared_ptr<PreferenceChangeEvent> getEvent(std::int32_t waitTimeMs);
    /// The new value in the next event for that key; events for other keys are thrown away. Empty once a wait for an
    /// event ends without one: each event begins a new wait, so all of them may take longer than that many
    /// milliseconds. Throws `NorqIllegalArgumentException` for an empty key.
    WString getNewValue(const WString& key, std::int32_t waitTimeMs);

private:
    void addListener();
    void removeListener();
    std::shared_ptr<PreferenceChangeEvent> takeEvent();

    Lock lock; // guards the queue
    std::queue<std::shared_ptr<PreferenceChangeEvent>> events;
    std::list<std::shared_ptr<Preferences>> nodes;
    Event eventAvailable;
    const std::vector<Waitable*> waitSet;
    // What the nodes know: it may still be called when this object is gone.
    const std::shared_ptr<norq_std_internal::PreferenceChangeRelay> relay;
};

} // namespace norq_std

#pragma once

#include "prefs/PreferenceChangeListener.h"

#include <mutex>

namespace norq_std_internal {

/// Stands between the thread that tells of changes and a listener that may be destroyed at any time: it owns this
/// object and calls it, out of a copied set; the listener behind is called only until `detach`.
class PreferenceChangeRelay : public norq_std::PreferenceChangeListener {
public:
    explicit PreferenceChangeRelay(norq_std::PreferenceChangeListener& listener)
        : target(&listener) {}

    void preferenceChange(const std::shared_ptr<norq_std::PreferenceChangeEvent>& event) override {
        const std::lock_guard guard(mutex);
        if (target != nullptr)
            target->preferenceChange(event);
    }

    /// From the return on, the listener is not called any more. Waits for a call that another thread is making.
    void detach() {
        const std::lock_guard guard(mutex);
        target = nullptr;
    }

private:
    // Held during a call, in which the listener may come back here.
    std::recursive_mutex mutex;
    norq_std::PreferenceChangeListener* target;
};

} // namespace norq_std_internal

#pragma once

#include "base/Export.h"

#include <memory>

namespace norq_std {

class PreferenceChangeEvent;

/// Hears of each key that changes in a node of preferences that it was added to.
///
/// It is called on the one thread that serves all listeners of the process: a slow one delays all. It may use nodes,
/// and may add and remove listeners, itself included; it may be called once more by a notification that had begun. What
/// it throws is logged, and listeners of that event that had not been called are passed over.
class NORQSTD_EXPORT PreferenceChangeListener {
public:
    virtual void preferenceChange(const std::shared_ptr<PreferenceChangeEvent>& event) = 0;

    virtual ~PreferenceChangeListener();

protected:
    PreferenceChangeListener() = default;
    PreferenceChangeListener(const PreferenceChangeListener&) = default;
    PreferenceChangeListener& operator=(const PreferenceChangeListener&) = default;
};

} // namespace norq_std

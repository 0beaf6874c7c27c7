#pragma once

#include "prefs/PreferenceChangeListener.h"

#include <memory>

/// Hands each change of a preference to `JniCallbackQueue`, on the thread that notifies, without a word to Java.
class NORQSTD_EXPORT JniPreferenceChangeListener : public norq_std::PreferenceChangeListener {
public:
    /// Nothing comes out of it: after the queue's shutdown, and for a node without a path, the change is dropped.
    void preferenceChange(const std::shared_ptr<norq_std::PreferenceChangeEvent>& event) override;
};

#pragma once

#include "base/Object.h"
#include "base/WString.h"

#include <memory>

namespace norq_std {

class Preferences;

/// What became of one key of a node. It never changes, so any thread may read it.
class NORQSTD_EXPORT PreferenceChangeEvent : public Object {
public:
    /// The node, which may be null; the path under which its listeners are filed (`Preferences::buildListenerPath`);
    /// the key; and its new value, or what the backend reports of a key that was removed.
    static std::shared_ptr<PreferenceChangeEvent> newInstance(const std::shared_ptr<Preferences>& node,
                                                              const WString& listenerPath, const WString& key,
                                                              const WString& newValue);
    PreferenceChangeEvent(const PreferenceChangeEvent&) = delete;
    PreferenceChangeEvent& operator=(const PreferenceChangeEvent&) = delete;
    ~PreferenceChangeEvent() override;

    WString toString() const override;

    std::shared_ptr<Preferences> getNode() const { return node; }
    WString getListenerPath() const { return listenerPath; }
    WString getKey() const { return key; }
    WString getNewValue() const { return newValue; }

private:
    PreferenceChangeEvent(const std::shared_ptr<Preferences>& node, const WString& listenerPath, const WString& key,
                          const WString& newValue);

    const std::shared_ptr<Preferences> node;
    const WString listenerPath;
    const WString key;
    const WString newValue;
};

} // namespace norq_std

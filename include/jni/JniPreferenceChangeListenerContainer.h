#pragma once

#include "base/WString.h"
#include "jni/JniPreferenceChangeListener.h"
#include "pattern/Singleton.h"

#include <map>
#include <memory>

/// The listener of each key that Java asked to monitor.
///
/// Any thread may call any operation. Who looks, acts on the node, and comes back to store or remove holds `lock` over
/// all of it, so that monitoring the same key is not begun and ended at once.
class NORQSTD_EXPORT JniPreferenceChangeListenerContainer
    : public norq_std::Singleton<JniPreferenceChangeListenerContainer> {
public:
    using Listener = std::shared_ptr<JniPreferenceChangeListener>;

    /// `root` is the registry handle's number, `path` the key as it was given.
    Listener getOrCreate(int root, const norq_std::WString& path);
    /// Empty where there is none.
    Listener find(int root, const norq_std::WString& path) const;
    void remove(int root, const norq_std::WString& path);

    /// Held by whoever calls the operations above in one step, and by each of them.
    static norq_std::Lock& lock();

private:
    friend class norq_std::Singleton<JniPreferenceChangeListenerContainer>;

    JniPreferenceChangeListenerContainer() = default;
    ~JniPreferenceChangeListenerContainer() = default;

    static const norq_std::WChar* getSingletonName() { return u"JniPreferenceChangeListenerContainer"; }

    std::map<norq_std::WString, Listener> listeners; // by the root in decimal with the path behind it
};

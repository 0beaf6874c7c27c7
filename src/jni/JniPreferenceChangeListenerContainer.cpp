#include "jni/JniPreferenceChangeListenerContainer.h"

#include "concurrency/AutoLock.h"
#include "concurrency/Lock.h"
#include "internal/NumberText.h"

using norq_std::AutoLock;
using norq_std::Lock;
using norq_std::WString;

namespace {

WString nameOf(int root, const WString& path) { return norq_std_internal::numberText(root) + path; }

} // namespace

Lock& JniPreferenceChangeListenerContainer::lock() {
    static Lock& shared = *new Lock;
    return shared;
}

JniPreferenceChangeListenerContainer::Listener JniPreferenceChangeListenerContainer::getOrCreate(int root,
                                                                                                 const WString& path) {
    const AutoLock<Lock> guard(lock());
    Listener& listener = listeners[nameOf(root, path)];
    if (!listener)
        listener = std::make_shared<JniPreferenceChangeListener>();
    return listener;
}

JniPreferenceChangeListenerContainer::Listener JniPreferenceChangeListenerContainer::find(int root,
                                                                                          const WString& path) const {
    const AutoLock<Lock> guard(lock());
    const auto entry = listeners.find(nameOf(root, path));
    return entry == listeners.end() ? Listener() : entry->second;
}

void JniPreferenceChangeListenerContainer::remove(int root, const WString& path) {
    const AutoLock<Lock> guard(lock());
    listeners.erase(nameOf(root, path));
}

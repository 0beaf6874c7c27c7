#include "prefs/PreferenceChangeEvent.h"

#include "prefs/PreferenceChangeListener.h"
#include "prefs/Preferences.h"

namespace norq_std {

PreferenceChangeListener::~PreferenceChangeListener() = default;

PreferenceChangeEvent::PreferenceChangeEvent(const std::shared_ptr<Preferences>& changedNode, const WString& path,
                                             const WString& changedKey, const WString& value)
    : node(changedNode)
    , listenerPath(path)
    , key(changedKey)
    , newValue(value) {}

PreferenceChangeEvent::~PreferenceChangeEvent() = default;

std::shared_ptr<PreferenceChangeEvent> PreferenceChangeEvent::newInstance(const std::shared_ptr<Preferences>& node,
                                                                          const WString& listenerPath,
                                                                          const WString& key, const WString& newValue) {
    return std::shared_ptr<PreferenceChangeEvent>(new PreferenceChangeEvent(node, listenerPath, key, newValue));
}

WString PreferenceChangeEvent::toString() const {
    return u"PreferenceChangeEvent{node=" + (node == nullptr ? WString(u"NULL") : node->toString()) + u",key='" + key +
           u"',newValue='" + newValue + u"',listenerPath='" + listenerPath + u"'}";
}

} // namespace norq_std

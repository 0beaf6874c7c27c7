#include "jni/JniPreferenceChangeListener.h"

#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "jni/JniCallbackQueue.h"
#include "jni/PreferenceChangeJniCallback.h"
#include "prefs/PreferenceChangeEvent.h"
#include "prefs/Preferences.h"
#include "windows/Registry.h"

#include <algorithm>

using namespace norq_std;

void JniPreferenceChangeListener::preferenceChange(const std::shared_ptr<PreferenceChangeEvent>& event) {
    NORQ_LOG_FUNCTION_CALL(u"JniPreferenceChangeListener::preferenceChange");
    try {
        const std::shared_ptr<Preferences> node = event->getNode();
        if (!node)
            return;
        const auto root = static_cast<int>(node->isUserNode() ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE);
        WString path = node->absolutePath();
        if (path.starts_with(u'/'))
            path.erase(0, 1);
        std::ranges::replace(path, u'/', u'\\');
        JniCallbackQueue::getInstance().enqueue(
            std::make_shared<PreferenceChangeJniCallback>(root, path, event->getKey(), event->getNewValue()));
    } catch (const NorqException&) { // nobody polls any more, or the root's own values changed
    }
}

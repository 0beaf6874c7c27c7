#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "prefs/AbstractPreferences.h"
#include "prefs/PreferencesXmlReader.h"
#include "prefs/PreferencesXmlWriter.h"

namespace norq_std {

void Preferences::importPreferences(const WString& path) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Preferences::importPreferences");
    PreferencesXmlReader(path).importPreferences();
}

// An export asks the nodes above too, whose locks are taken before this one's: it runs without.

void AbstractPreferences::exportNode(const WString& path) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::exportNode");
    {
        const AutoLock<Lock> hold(lock);
        assertNodeNotRemoved(u"norq_std::AbstractPreferences::exportNode");
    }
    PreferencesXmlWriter(shared_from_this(), path).writePrefs();
}

void AbstractPreferences::exportSubtree(const WString& path) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::exportSubtree");
    {
        const AutoLock<Lock> hold(lock);
        assertNodeNotRemoved(u"norq_std::AbstractPreferences::exportSubtree");
    }
    PreferencesXmlWriter(shared_from_this(), path).writePrefsTree();
}

} // namespace norq_std

#include "exception/NorqException.h"
#include "prefs/AbstractPreferences.h"

namespace norq_std {

namespace {

[[noreturn]] void refuse() { throw NorqUnsupportedOperationException(u"Preferences cannot be exchanged as XML."); }

} // namespace

void Preferences::importPreferences(const WString&) { refuse(); }

void AbstractPreferences::exportNode(const WString&) { refuse(); }

void AbstractPreferences::exportSubtree(const WString&) { refuse(); }

} // namespace norq_std

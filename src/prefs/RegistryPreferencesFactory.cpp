#include "prefs/RegistryPreferencesFactory.h"

#include "prefs/RegistryPreferences.h"

namespace norq_std {

RegistryPreferencesFactory::~RegistryPreferencesFactory() = default;

WString RegistryPreferencesFactory::toString() const { return u"RegistryPreferencesFactory{}"; }

WString RegistryPreferencesFactory::getClassName() const { return u"norq_std.RegistryPreferencesFactory"; }

std::shared_ptr<Preferences> RegistryPreferencesFactory::systemRoot() { return RegistryPreferences::getSystemRoot(); }

std::shared_ptr<Preferences> RegistryPreferencesFactory::userRoot() { return RegistryPreferences::getUserRoot(); }

} // namespace norq_std

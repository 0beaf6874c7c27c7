#include "prefs/FilePreferencesFactory.h"

#include "prefs/FilePreferences.h"

namespace norq_std {

FilePreferencesFactory::~FilePreferencesFactory() = default;

WString FilePreferencesFactory::toString() const { return u"FilePreferencesFactory{}"; }

WString FilePreferencesFactory::getClassName() const { return u"norq_std.FilePreferencesFactory"; }

std::shared_ptr<Preferences> FilePreferencesFactory::systemRoot() { return FilePreferences::getSystemRoot(); }

std::shared_ptr<Preferences> FilePreferencesFactory::userRoot() { return FilePreferences::getUserRoot(); }

} // namespace norq_std

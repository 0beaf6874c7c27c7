#include "prefs/Preferences.h"

#include "base/Class.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "log/NorqLoggerSTD.h"
#include "prefs/PreferencesFactory.h"
#include "system/NorqSystem.h"

namespace norq_std {

namespace {

constexpr WChar FactoryKey[] = u"default.PreferencesFactory";

struct LastUsed {
    Lock lock; // of the factory too
    WString name;
};

LastUsed& lastUsed() {
    static LastUsed& last = *new LastUsed;
    return last;
}

WString factoryName() {
    NorqSystem& system = NorqSystem::getInstance();
    WString name = system.getEnv(FactoryKey);
    if (name.empty())
        name = system.getProperty(FactoryKey, Preferences::defaultFactory);
    return name.empty() ? WString(Preferences::defaultFactory) : name;
}

} // namespace

const WChar* const Preferences::defaultFactory = u"norq_std.RegistryPreferencesFactory";

// Never destroyed: threads may ask for roots while the process ends.
std::shared_ptr<PreferencesFactory>& Preferences::factory = *new std::shared_ptr<PreferencesFactory>;

PreferencesFactory::~PreferencesFactory() = default;

Preferences::~Preferences() = default;

std::shared_ptr<Preferences> Preferences::userRoot() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Preferences::userRoot");
    return getFactory()->userRoot();
}

std::shared_ptr<Preferences> Preferences::systemRoot() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Preferences::systemRoot");
    return getFactory()->systemRoot();
}

std::shared_ptr<PreferencesFactory> Preferences::getFactory() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Preferences::getFactory");
    const WString name = factoryName();
    std::shared_ptr<PreferencesFactory> found;
    bool changed = false;
    {
        LastUsed& last = lastUsed();
        const AutoLock<Lock> hold(last.lock);
        found = Class::getInstance().getObject<PreferencesFactory>(name);
        factory = found;
        changed = found != nullptr && last.name != name;
        if (changed)
            last.name = name;
    }
    if (found == nullptr) {
        const NorqAccessException exception(u"Unable to get PreferencesFactory named <" + name + u">.");
        exception.logDebug(u"norq_std::Preferences::getFactory");
        throw NorqAccessException(exception);
    }
    if (changed)
        NorqLoggerSTD::getInstance().STD0002(u"norq_std::Preferences::getFactory", name.c_str());
    return found;
}

} // namespace norq_std

#include "system/Paths.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Lock.h"
#include "exception/NorqException.h"
#include "internal/ReadWriteGuards.h"
#include "log/NorqLoggerSTD.h"
#include "system/NorqSystem.h"

namespace norq_std {

using norq_std_internal::ReadGuard;
using norq_std_internal::WriteGuard;

namespace {

constexpr WChar ClassNameKey[] = u"default.Paths";
constexpr WChar KeyName[] = u"Path key";

struct LastUsed {
    Lock lock;
    WString name;
};

LastUsed& lastUsed() {
    static LastUsed& last = *new LastUsed;
    return last;
}

} // namespace

const WChar* const Paths::defaultPaths = u"norq_std.Paths";

Paths::Paths()
    : lock(std::make_unique<ReadWriteLock>(ReadWriteLock::DefaultReaderCount)) {}

Paths::~Paths() = default;

WString Paths::toString() const { return u"Paths{}"; }

WString Paths::getClassName() const { return u"norq_std.Paths"; }

void Paths::setPath(const WString& key, const WString& path) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Paths::setPath");
    ErrorUtils::isEmptyEx(key, u"norq_std::Paths::setPath", KeyName);
    const WriteGuard guard(*lock);
    paths.insert_or_assign(key, path);
}

WString Paths::getPath(const WString& key, const WString& defaultPath) const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Paths::getPath");
    ErrorUtils::isEmptyEx(key, u"norq_std::Paths::getPath", KeyName);
    const ReadGuard guard(*lock);
    const auto found = paths.find(key);
    return found == paths.end() ? defaultPath : found->second;
}

std::shared_ptr<Paths> Paths::getInstance() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Paths::getInstance");
    const WString name = getPathClassName();
    std::shared_ptr<Paths> instance = getPathsByName(name);
    bool changed = false;
    {
        LastUsed& last = lastUsed();
        const AutoLock<Lock> hold(last.lock);
        changed = last.name != name;
        last.name = name;
    }
    if (changed)
        NorqLoggerSTD::getInstance().STD0003(u"norq_std::Paths::getInstance", name.c_str());
    return instance;
}

WString Paths::getPathClassName() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Paths::getPathClassName");
    NorqSystem& system = NorqSystem::getInstance();
    WString name = system.getEnv(ClassNameKey);
    if (name.empty())
        name = system.getProperty(ClassNameKey, defaultPaths);
    return name.empty() ? WString(defaultPaths) : name;
}

std::shared_ptr<Paths> Paths::getPathsByName(const WString& name) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Paths::getPathsByName");
    std::shared_ptr<Paths> found = Class::getInstance().getObject<Paths>(name);
    if (found)
        return found;
    const NorqAccessException exception(u"Unable to get Paths named <" + name + u">.");
    exception.logDebug(u"norq_std::Paths::getPathsByName");
    throw NorqAccessException(exception);
}

} // namespace norq_std

#include "library/VersionInfoRegistry.h"

#include "exception/NorqException.h"
#include "internal/ReadWriteGuards.h"
#include "library/VersionInfoListener.h"

#include <cxxabi.h>

namespace norq_std {

using norq_std_internal::ReadGuard;
using norq_std_internal::WriteGuard;

VersionInfoListener::~VersionInfoListener() = default;
void VersionInfoListener::onModuleAdded(const VersionInfo&) {}
void VersionInfoListener::onModuleRemoved(const VersionInfo&) {}

VersionInfoRegistry::VersionInfoRegistry()
    : lock(ReadWriteLock::DefaultReaderCount) {}

VersionInfoRegistry::~VersionInfoRegistry() = default;

void VersionInfoRegistry::addModule(const VersionInfo& versionInfo) {
    const WString name = versionInfo.getModuleName();
    if (name.empty())
        throw NorqIllegalArgumentException(u"Module name cannont be empty");
    {
        const WriteGuard guard(lock);
        if (!modules.try_emplace(name, versionInfo).second)
            throw NorqIllegalArgumentException(u"Module by that name already exists");
    }
    const ReadGuard guard(lock);
    if (const auto added = modules.find(name); added != modules.end())
        notify(&VersionInfoListener::onModuleAdded, added->second);
}

void VersionInfoRegistry::removeModule(const WString& name) {
    {
        const ReadGuard guard(lock);
        const auto found = modules.find(name);
        if (found == modules.end())
            throw NorqIllegalArgumentException(u"Module of that name is not found");
        notify(&VersionInfoListener::onModuleRemoved, found->second);
    }
    const WriteGuard guard(lock);
    modules.erase(name);
}

VersionInfo VersionInfoRegistry::getModule(const WString& name) const {
    const ReadGuard guard(lock);
    const auto found = modules.find(name);
    if (found == modules.end())
        throw NorqIllegalArgumentException(u"Module by that name is not found");
    return found->second;
}

std::set<WString> VersionInfoRegistry::getModuleList() const {
    const ReadGuard guard(lock);
    std::set<WString> names;
    for (const auto& [name, versionInfo] : modules)
        names.insert(names.end(), name);
    return names;
}

void VersionInfoRegistry::addListener(const std::shared_ptr<VersionInfoListener>& listener) {
    const WriteGuard guard(lock);
    listeners.insert(listener);
}

void VersionInfoRegistry::removeListener(const std::shared_ptr<VersionInfoListener>& listener) {
    const WriteGuard guard(lock);
    listeners.erase(listener);
}

void VersionInfoRegistry::notify(Notification notification, const VersionInfo& versionInfo) const {
    for (const auto& listener : listeners) {
        try {
            if (listener)
                ((*listener).*notification)(versionInfo);
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (...) { // one listener's failure is no other's
        }
    }
}

} // namespace norq_std

#pragma once

#include "base/Export.h"
#include "concurrency/ReadWriteLock.h"
#include "library/VersionInfo.h"
#include "pattern/Singleton.h"

#include <map>
#include <memory>
#include <set>

namespace norq_std {

class VersionInfoListener;

/// The process-wide table of modules by name. Any thread may call any operation.
///
/// A change and its notification are two steps: another thread may see the table between them.
class NORQSTD_EXPORT VersionInfoRegistry : public Singleton<VersionInfoRegistry> {
    friend class Singleton<VersionInfoRegistry>;

public:
    VersionInfoRegistry(const VersionInfoRegistry&) = delete;
    VersionInfoRegistry& operator=(const VersionInfoRegistry&) = delete;
    virtual ~VersionInfoRegistry();

    /// Adds a copy, then tells the listeners. Throws `NorqIllegalArgumentException` for an empty module name and for
    /// one that is there already.
    void addModule(const VersionInfo& versionInfo);
    /// Tells the listeners, then removes the module. Throws `NorqIllegalArgumentException` for a name that is not
    /// there.
    void removeModule(const WString& name);

    /// A copy. Throws `NorqIllegalArgumentException` for a name that is not there.
    VersionInfo getModule(const WString& name) const;
    std::set<WString> getModuleList() const;

    void addListener(const std::shared_ptr<VersionInfoListener>& listener);
    void removeListener(const std::shared_ptr<VersionInfoListener>& listener);

private:
    VersionInfoRegistry();
    static const WChar* getSingletonName() { return u"norq_std::VersionInfoRegistry"; }

    using Notification = void (VersionInfoListener::*)(const VersionInfo&);
    void notify(Notification notification, const VersionInfo& versionInfo) const;

    mutable ReadWriteLock lock;
    std::map<WString, VersionInfo> modules;
    std::set<std::shared_ptr<VersionInfoListener>> listeners;
};

} // namespace norq_std

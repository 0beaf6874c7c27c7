#pragma once

#include "base/Export.h"

namespace norq_std {

class VersionInfo;

/// Hears of modules that come and go in the `VersionInfoRegistry`.
///
/// It is called on the thread that adds or removes, under the registry's read lock: it may ask the registry, but must
/// not add or remove a module or a listener. What it throws is dropped.
class NORQSTD_EXPORT VersionInfoListener {
protected:
    VersionInfoListener() = default;
    virtual ~VersionInfoListener();

public:
    virtual void onModuleAdded(const VersionInfo& versionInfo);
    virtual void onModuleRemoved(const VersionInfo& versionInfo);
};

} // namespace norq_std

#pragma once

#include "base/AutoRegisterClass.h"
#include "prefs/PreferencesFactory.h"

namespace norq_std {

/// Preferences in the registry: `RegistryPreferences`. Picked by the class name "norq_std.RegistryPreferencesFactory",
/// and where no other is set.
class NORQSTD_EXPORT RegistryPreferencesFactory : public AutoRegisterClass<RegistryPreferencesFactory>,
                                                  public PreferencesFactory {
public:
    ~RegistryPreferencesFactory() override;

    WString toString() const override;
    WString getClassName() const override;

    std::shared_ptr<Preferences> systemRoot() override;
    std::shared_ptr<Preferences> userRoot() override;
};

} // namespace norq_std

#pragma once

#include "base/AutoRegisterClass.h"
#include "prefs/PreferencesFactory.h"

namespace norq_std {

/// Preferences in files: `FilePreferences`. Picked by the class name "norq_std.FilePreferencesFactory".
class NORQSTD_EXPORT FilePreferencesFactory : public PreferencesFactory,
                                              public AutoRegisterClass<FilePreferencesFactory> {
public:
    ~FilePreferencesFactory() override;

    WString toString() const override;
    WString getClassName() const override;

    std::shared_ptr<Preferences> systemRoot() override;
    std::shared_ptr<Preferences> userRoot() override;
};

} // namespace norq_std

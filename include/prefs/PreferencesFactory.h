#pragma once

#include "base/Export.h"

#include <memory>

namespace norq_std {

class Preferences;

/// Makes the roots of the two trees of one store.
///
/// A factory of a program's own derives from it and from `AutoRegisterClass`, registers itself, and is picked by its
/// class name, see `Preferences`. Any thread may call any operation, and each returns the same node every time.
class NORQSTD_EXPORT PreferencesFactory {
public:
    virtual std::shared_ptr<Preferences> systemRoot() = 0;
    virtual std::shared_ptr<Preferences> userRoot() = 0;

    virtual ~PreferencesFactory();

protected:
    PreferencesFactory() = default;
    PreferencesFactory(const PreferencesFactory&) = default;
    PreferencesFactory& operator=(const PreferencesFactory&) = default;
};

} // namespace norq_std

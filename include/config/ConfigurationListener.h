#pragma once

#include "base/Export.h"

namespace norq_std {

class ConfigurationChangeEvent;

/// Hears of each key that changes in a `NorqConfig` that it was added to.
///
/// It is called on the thread that made the change, or on the one thread of the `FileWatcher` for a change of the file:
/// while it runs there, no other file's change is seen, and an exception that leaves it there ends the watching of the
/// whole process. It may use the `NorqConfig`, but must not destroy it.
class NORQSTD_EXPORT ConfigurationListener {
public:
    virtual void onConfigChange(const ConfigurationChangeEvent& event) = 0;

    virtual ~ConfigurationListener();

protected:
    ConfigurationListener() = default;
    ConfigurationListener(const ConfigurationListener&) = default;
    ConfigurationListener& operator=(const ConfigurationListener&) = default;
};

} // namespace norq_std

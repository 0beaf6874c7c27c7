#pragma once

#include "base/Export.h"

namespace norq_std {

class File;

/// Hears of finished files of a `RollingFile`.
///
/// It is called on the writing thread with the locks of the file and of the logger held: it must not wait for log
/// output of another thread. What it throws is dropped.
class NORQSTD_EXPORT RollingFileObserver {
public:
    virtual ~RollingFileObserver();

    virtual void onCloseNotify(const File& file) = 0;

protected:
    RollingFileObserver() = default;
    RollingFileObserver(const RollingFileObserver&) = default;
    RollingFileObserver& operator=(const RollingFileObserver&) = default;
};

} // namespace norq_std

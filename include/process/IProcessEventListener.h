#pragma once

#include "base/Export.h"

namespace norq_std {

class Process;

/// Hears of the end of a process, for programs that hand such news on themselves: the library registers none and calls
/// none.
class NORQSTD_EXPORT IProcessEventListener {
public:
    virtual ~IProcessEventListener();

    virtual void onProcessEnded(Process& process) = 0;

protected:
    IProcessEventListener() = default;
    IProcessEventListener(const IProcessEventListener&) = default;
    IProcessEventListener& operator=(const IProcessEventListener&) = default;
};

} // namespace norq_std

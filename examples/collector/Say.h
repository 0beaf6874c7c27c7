#pragma once

#include "base/LogMacros.h"

#include <cstdio>
#include <string>

namespace collector {

/// A line for the log, and for whoever looks on.
inline void say(norq_std::LogEventPriority priority, const std::string& message) {
    NORQ_LOG(priority, u"collector", u"%hs", message.c_str());
    std::fprintf(stderr, "collector: %s\n", message.c_str());
}

} // namespace collector

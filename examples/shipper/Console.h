#pragma once

#include "base/LogMacros.h"

#include <string>

namespace shipper {

/// Standard error, where a progress line and messages must not run into each other. Any thread may call.
class Console {
public:
    /// A message on a line of its own.
    static void say(const std::string& message);
    /// Replaces the progress line; the empty text takes it away.
    static void showProgress(const std::string& text);
    static bool isTerminal();
};

} // namespace shipper

/// A message for the log, and then for whoever looks on.
#define SHIPPER_SAY(priority, functionName, message)                                                                   \
    do {                                                                                                               \
        const std::string shipperSaid = message;                                                                       \
        NORQ_LOG(priority, functionName, u"%hs", shipperSaid.c_str());                                                 \
        ::shipper::Console::say(shipperSaid);                                                                          \
    } while (false)

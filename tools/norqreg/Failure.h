#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace norqreg {

/// What the program ends with; documented in its manual.
enum ExitStatus : std::uint8_t {
    DONE = 0,
    NOT_FOUND = 1,     ///< the key or value, or a Java runtime, is not there
    WRONG_USAGE = 2,   ///< of the program, or a request that makes no sense
    ACCESS_DENIED = 3, ///< the hive or a file may not be read or written
    FAILED = 4,        ///< the store, a file or the output failed
    UNSOUND = 5,       ///< a file that is no export, or data that an export cannot hold
    TIMED_OUT = 6,     ///< a watch did not see as many changes as it was to
};

/// Ends the command with a line on standard error.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus exitStatus, const std::string& message)
        : std::runtime_error(message)
        , status(exitStatus) {}
    ExitStatus getStatus() const { return status; }

private:
    const ExitStatus status;
};

} // namespace norqreg

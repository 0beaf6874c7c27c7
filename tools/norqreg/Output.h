#pragma once

#include <string>

namespace norqreg {

// Standard output. Both throw `Failure` (`FAILED`) if it cannot be written.

void print(const std::string& text);
inline void printLine(const std::string& line) { print(line + "\n"); }
/// What was printed has left the process.
void flushOutput();

} // namespace norqreg

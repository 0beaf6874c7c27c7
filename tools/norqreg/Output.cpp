#include "Output.h"

#include "Failure.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace norqreg {
namespace {

void check(bool isWritten) {
    if (!isWritten)
        throw Failure(FAILED, "cannot write to standard output: " + std::generic_category().message(errno));
}

} // namespace

void print(const std::string& text) { check(std::fwrite(text.data(), 1, text.size(), stdout) == text.size()); }

void flushOutput() { check(std::fflush(stdout) == 0); }

} // namespace norqreg

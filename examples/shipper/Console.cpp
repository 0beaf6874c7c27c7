#include "Console.h"

#include <cstdio>
#include <mutex>

#include <unistd.h>

namespace shipper {
namespace {

std::mutex mutex;
std::string progress;

constexpr const char* CLEAR_LINE = "\r\x1b[K";

} // namespace

void Console::say(const std::string& message) {
    const std::lock_guard guard(mutex);
    const std::string before = progress.empty() ? "" : CLEAR_LINE;
    std::fprintf(stderr, "%sshipper: %s\n%s", before.c_str(), message.c_str(), progress.c_str());
}

void Console::showProgress(const std::string& text) {
    const std::lock_guard guard(mutex);
    std::fprintf(stderr, "%s%s", CLEAR_LINE, text.c_str());
    progress = text;
}

bool Console::isTerminal() { return isatty(STDERR_FILENO) != 0; }

} // namespace shipper

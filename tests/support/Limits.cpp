#include "support/Limits.h"

#include <algorithm>
#include <cstdlib>

namespace norqstd_test {

namespace {

std::size_t slowDown() {
    static const std::size_t factor = [] {
        const char* text = std::getenv("NORQSTD_TEST_SLOWDOWN");
        return std::clamp<std::size_t>(text ? std::strtoul(text, nullptr, 10) : 1, 1, 100);
    }();
    return factor;
}

} // namespace

std::chrono::milliseconds longLimit() { return std::chrono::seconds(20) * slowDown(); }

std::size_t rounds(std::size_t count) { return std::max<std::size_t>(count / slowDown(), 1); }

} // namespace norqstd_test

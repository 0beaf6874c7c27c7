#include "support/NothingLeft.h"

#include "support/Limits.h"

#include <cstdlib>
#include <iterator>
#include <string>
#include <thread>

#include <unistd.h>

namespace norqstd_test {

namespace {

std::size_t entries(const char* folder) {
    std::error_code ignored;
    const std::filesystem::directory_iterator all(folder, ignored);
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

/// A sanitizer's runtime starts a thread of its own beside the first one that a program starts.
void startFirstThread() {
    static const bool started = [] {
        std::string task;
        std::thread([&] { task = "/proc/self/task/" + std::to_string(gettid()); }).join();
        while (std::filesystem::exists(task))
            std::this_thread::yield();
        return true;
    }();
    static_cast<void>(started);
}

std::size_t threads() {
    startFirstThread();
    return entries("/proc/self/task");
}
std::size_t descriptors() { return entries("/proc/self/fd"); }

} // namespace

NothingLeft::NothingLeft()
    : threadsBefore(threads())
    , descriptorsBefore(descriptors()) {}

NothingLeft::~NothingLeft() {
    std::error_code ignored;
    if (!temporary.empty())
        std::filesystem::remove_all(temporary, ignored);
}

void NothingLeft::TearDown() {
    // A joined thread leaves the kernel's list a moment after the join returns, and one of the process may be reading a
    // file just now.
    const auto end = std::chrono::steady_clock::now() + longLimit();
    while ((threads() > threadsBefore || descriptors() > descriptorsBefore) && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    EXPECT_LE(threads(), threadsBefore) << "a thread outlives its test";
    EXPECT_LE(descriptors(), descriptorsBefore) << "a file descriptor outlives its test";
}

const std::filesystem::path& NothingLeft::folder() {
    if (temporary.empty()) {
        std::string name = (std::filesystem::temp_directory_path() / "norqstd-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw std::filesystem::filesystem_error("mkdtemp", name, std::error_code(errno, std::generic_category()));
        temporary = name;
    }
    return temporary;
}

} // namespace norqstd_test

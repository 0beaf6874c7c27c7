#pragma once

#include "base/EncodingUtils.h"
#include "file/File.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace norqstd_test {

inline norq_std::WString wide(const std::filesystem::path& path) {
    return norq_std::EncodingUtils::convertUtf8ToUnicode(path.string());
}

inline norq_std::File at(const std::filesystem::path& path) { return norq_std::File(wide(path)); }

inline void put(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string got(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

/// Runs `body` in a process of its own, whose rights, limits and mounts it may change; its result, below 0 if it died.
template <class Body>
int inChild(const Body& body) {
    const pid_t child = fork();
    if (child == 0)
        _exit(body());
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

} // namespace norqstd_test

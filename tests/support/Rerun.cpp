#include "support/Rerun.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace norqstd_test {

namespace {

constexpr const char* Mark = "NORQSTD_TEST_RERUN";

std::string contentOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

} // namespace

bool Rerun::inside() { return std::getenv(Mark) != nullptr; }

Rerun::Rerun(const std::string& test, const std::string& prefix) {
    std::string folder = (std::filesystem::temp_directory_path() / "norqstd-rerun-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr)
        throw std::runtime_error("no temporary folder");
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
    const std::string command = std::string(Mark) + "=1 " + prefix + "'" + program + "' --gtest_filter=" + test +
                                " > " + folder + "/out 2> " + folder + "/err";
    const int status = std::system(command.c_str());
    text = contentOf(folder + "/err");
    if (status != 0)
        text += "status " + std::to_string(status) + "\n" + contentOf(folder + "/out");
    std::filesystem::remove_all(folder);
}

bool Rerun::refused() const { return text.find("unshare:") != std::string::npos || text.starts_with("sh: "); }

} // namespace norqstd_test

#pragma once

#include <sys/wait.h> // ahead of Concurrency.h, which frees a name of it

#include "concurrency/Concurrency.h"
#include "concurrency/Event.h"
#include "process/Process.h"
#include "support/Actor.h"
#include "support/Files.h"
#include "support/Limits.h"
#include "support/NothingLeft.h"

#include <cerrno>
#include <filesystem>
#include <string>

namespace norqstd_test {

/// A fixture for tests that start the child program. Its end asserts that no child is left, dead or alive.
class Children : public NothingLeft {
protected:
    void TearDown() override {
        EXPECT_TRUE(eventually([] { return noneIsLeft(); })) << "a child outlives its test";
        NothingLeft::TearDown();
    }

    static bool noneIsLeft() {
        siginfo_t ignored{};
        return waitid(P_ALL, 0, &ignored, WEXITED | WNOHANG | WNOWAIT) != 0 && errno == ECHILD;
    }
    static bool ends(const norq_std::Process& process) {
        return norq_std::Concurrency::waitForSingleObject(*process.getShutdownEvent(), longLimitMillis()) == 0;
    }
    static norq_std::Process start(const std::string& arguments, const std::filesystem::path& program = CHILD_PROGRAM) {
        return {at(program), wide(arguments), norq_std::File()};
    }

    std::filesystem::path path(const std::string& name) { return folder() / name; }
    std::string quoted(const std::string& name) { return " '" + path(name).string() + "' "; }
    /// What a child writes into its file, once it is complete; empty if that does not come.
    std::string reported(const std::string& name) {
        return eventually([&] { return std::filesystem::exists(path(name)); }) ? got(path(name)) : std::string();
    }
};

} // namespace norqstd_test

#pragma once

#include <filesystem>
#include <string>

namespace norqstd_test {

/// One test of the running program, run again in a process of its own.
class Rerun {
public:
    /// Whether this is that process.
    static bool inside();

    /// Runs it to its end, behind a shell command that executes what follows it.
    explicit Rerun(const std::string& test, const std::string& prefix = {});

    /// What stood on standard error; where the test failed, all that it printed.
    const std::string& errors() const { return text; }
    /// Whether the command in front was not allowed here.
    bool refused() const;

private:
    std::string text;
};

} // namespace norqstd_test

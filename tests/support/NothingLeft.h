#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>

namespace norqstd_test {

/// A fixture whose end asserts that the test left no thread and no file descriptor behind, and that holds a temporary
/// folder which goes with it.
class NothingLeft : public ::testing::Test {
protected:
    NothingLeft();
    ~NothingLeft() override;

    void TearDown() override;

    /// A new empty folder of this test, made at the first call.
    const std::filesystem::path& folder();

private:
    std::filesystem::path temporary;
    std::size_t threadsBefore;
    std::size_t descriptorsBefore;
};

} // namespace norqstd_test

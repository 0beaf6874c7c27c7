#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    // The machine runs on, and would find its own statics destroyed.
    std::fflush(nullptr);
    std::_Exit(result);
}

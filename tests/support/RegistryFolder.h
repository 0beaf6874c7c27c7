#pragma once

#include "support/NothingLeft.h"

#include "platform/Registry.h"

#include <cstdlib>
#include <filesystem>

namespace norqstd_test {

/// Both hives of the registry in the temporary folder of the test, closed before the fixture asserts that nothing is
/// left.
class RegistryFolder : public NothingLeft {
protected:
    void SetUp() override {
        setenv("NORQSTD_REGISTRY_USER", folder().c_str(), 1);
        setenv("NORQSTD_REGISTRY_MACHINE", folder().c_str(), 1);
    }
    void TearDown() override {
        norq_std_internal::platform::closeRegistryHives();
        NothingLeft::TearDown();
        unsetenv("NORQSTD_REGISTRY_USER");
        unsetenv("NORQSTD_REGISTRY_MACHINE");
    }

    std::filesystem::path userDatabase() { return folder() / "user.db"; }
    std::filesystem::path machineDatabase() { return folder() / "machine.db"; }
};

} // namespace norqstd_test

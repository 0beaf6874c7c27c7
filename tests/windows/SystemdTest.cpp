// The sample service under a real systemd: a user manager in a mount namespace of its own, so that nothing of the
// machine's is touched.

#include "RunUnderManager.h"

#include "support/Files.h"
#include "support/NothingLeft.h"

#include <cstdlib>
#include <iostream>

using namespace norqstd_test;

namespace {

constexpr int Refused = 77;

class SystemdTest : public NothingLeft {
protected:
    /// Runs a script of this folder. False, with the reason printed, where the machine does not let it.
    bool passes(const std::string& script) {
        const std::string command = "unshare --mount --propagation private sh -eu " TEST_FOLDER "/" + script + " '" +
                                    folder().string() + "' " SAMPLE_SERVICE " " TEST_FOLDER " > '" +
                                    (folder() / "out").string() + "' 2>&1";
        const int status = std::system(command.c_str());
        const int result = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        const bool isLeftOut = result == Refused || output().starts_with("unshare:");
        if (isLeftOut)
            std::cout << "left out: no systemd of its own can run here (needs root, mount namespaces, cgroups, systemd "
                         "and dbus-daemon): "
                      << output() << got(folder() / "systemd") << std::endl;
        else
            EXPECT_EQ(0, result) << output() << got(folder() / "systemd") << got(folder() / "log");
        return !isLeftOut;
    }
    std::string output() { return got(folder() / "out"); }
};

TEST_F(SystemdTest, StartsControlsRestartsAndStopsTheInstalledSampleService) {
    if (!passes("life.sh"))
        return;
    EXPECT_NE(std::string::npos, output().find("Service Control Stop message"));
    EXPECT_NE(std::string::npos, output().find("Service User Control message"));
}

TEST_F(SystemdTest, AFailedStartIsAFailedUnit) { passes("failure.sh"); }

TEST_F(SystemdTest, SessionsThatComeAndGoAreTold) { passes("sessions.sh"); }

TEST_F(SystemdTest, TheWrittenUnitIsAccepted) {
    if (std::system("command -v systemd-analyze > /dev/null") != 0) {
        std::cout << "left out: there is no systemd-analyze here" << std::endl;
        return;
    }
    const std::string command = "NORQSTD_UNIT_DIRECTORY='" + folder().string() + "' " SAMPLE_SERVICE " -i && " +
                                "systemd-analyze verify '" + folder().string() + "/norqstd\\x20sample.service' > '" +
                                (folder() / "out").string() + "' 2>&1";
    EXPECT_EQ(0, std::system(command.c_str())) << output();
    EXPECT_EQ(std::string::npos, output().find("norqstd")) << output();
}

} // namespace

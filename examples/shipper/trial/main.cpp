// Tries the delivery for real, with processes that are killed: for a look at it, for hours, and for its speed.

#include "trial/Trials.h"

#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "internal/ConvertUTF.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>
#include <vector>

namespace {

constexpr const char* USAGE = "Usage: shipper-trial demo LOG [FOLDER]\n"
                              "       shipper-trial chaos SECONDS [STORE [SEED [FOLDER]]]\n"
                              "       shipper-trial failover ROUNDS [FOLDER]\n";

int run(const std::vector<std::string>& arguments) {
    norq_std_internal::ConvertUTF::setMaxStringSize(32 * 1024 * 1024);
    const auto argument = [&](std::size_t index, const std::string& otherwise) {
        return index < arguments.size() ? arguments[index] : otherwise;
    };
    std::string own; // removed if all went well
    const auto folder = [&](std::size_t index) {
        if (index < arguments.size())
            return arguments[index];
        own = (std::filesystem::temp_directory_path() / "shipper-trial-XXXXXX").string();
        if (mkdtemp(own.data()) == nullptr)
            throw std::system_error(errno, std::generic_category(), own);
        return own;
    };
    const std::string mode = argument(0, "");
    int status = 2;
    if (mode == "demo" && arguments.size() > 1)
        status = trial::runDemo(folder(2), arguments[1]);
    else if (mode == "chaos" && arguments.size() > 1)
        status = trial::runChaos(folder(4), std::stoi(arguments[1]), shipper::parseStore(argument(2, "registry")),
                                 std::stoull(argument(3, std::to_string(std::random_device()()))));
    else if (mode == "failover" && arguments.size() > 1)
        status = trial::runFailOver(folder(2), std::stoi(arguments[1]));
    else
        std::fputs(USAGE, stderr);
    if (status == 0 && !own.empty())
        std::filesystem::remove_all(own);
    return status;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run({argv + 1, argv + argc});
    } catch (const norq_std::NorqException& failure) {
        std::fprintf(stderr, "shipper-trial: %s\n", norq_std::UtfUtils::utf16ToUtf8(failure.getMessage()).c_str());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "shipper-trial: %s\n", failure.what());
    }
    return 4;
}

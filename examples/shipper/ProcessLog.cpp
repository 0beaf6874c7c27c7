#include "ProcessLog.h"

#include "Console.h"

#include "base/StaticLog.h"
#include "base/UtfUtils.h"
#include "system/Paths.h"

#include <cstdlib>
#include <filesystem>

namespace shipper {

void startLog(const std::string& settingsFile) {
    namespace fs = std::filesystem;
    std::error_code failure;
    const fs::path file = fs::absolute(settingsFile, failure);
    if (file.extension() != ".cfg") {
        SHIPPER_SAY(norq_std::WARN, u"shipper::startLog", "no log: " + settingsFile + " is not named *.cfg");
        return;
    }
    const auto wide = [](const fs::path& path) { return norq_std::UtfUtils::utf8ToUtf16(path.string()); };
    const auto paths = norq_std::Paths::getInstance();
    paths->setPath(u"System Config Path Key", wide(file.parent_path()));
    // Of a service of systemd. NOLINTNEXTLINE(concurrency-mt-unsafe): read once, at start
    const char* const logsDirectory = std::getenv("LOGS_DIRECTORY");
    paths->setPath(u"System Log Path Key", wide(logsDirectory ? logsDirectory : file.parent_path() / "log"));
    norq_std::StaticLog::initInstance(wide(file.stem()));
}

} // namespace shipper

#include "JavaRuntimes.h"

#include "base/UtfUtils.h"
#include "system/NorqSystem.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>

namespace norqreg {
namespace {

namespace fs = std::filesystem;

constexpr const char* SYSTEM_FOLDER = "/usr/lib/jvm";

std::string environment(const norq_std::WChar* name) {
    return norq_std::UtfUtils::utf16ToUtf8(norq_std::NorqSystem::getInstance().getEnv(name));
}

/// JAVA_VERSION="17.0.9" of the file that each runtime since version 7 has; empty if it is not told.
std::string versionOf(const fs::path& home) {
    constexpr std::string_view KEY = "JAVA_VERSION=";
    std::ifstream release(home / "release");
    for (std::string line; std::getline(release, line);) {
        if (!line.starts_with(KEY))
            continue;
        line.erase(0, KEY.size());
        std::erase_if(line, [](char each) { return each == '"' || each == '\r' || each == '/' || each == '\\'; });
        return line;
    }
    return {};
}

/// The machine of the servers, which all runtimes for servers have; older ones keep it by architecture.
fs::path libraryOf(const fs::path& home) {
    std::error_code absent;
    for (const char* const base : {"lib", "jre/lib"}) {
        if (fs::path library = home / base / "server/libjvm.so"; fs::is_regular_file(library, absent))
            return library;
        for (const auto& architecture : fs::directory_iterator(home / base, absent))
            if (fs::path library = architecture.path() / "server/libjvm.so"; fs::is_regular_file(library, absent))
                return library;
    }
    return {};
}

std::vector<fs::path> foldersOf(const fs::path& folder) {
    std::vector<fs::path> folders;
    std::error_code absent;
    for (const auto& entry : fs::directory_iterator(folder, absent))
        if (entry.is_directory(absent))
            folders.push_back(entry.path());
    std::sort(folders.begin(), folders.end());
    return folders;
}

/// The home of the first java on the path; links lead to where it really is.
std::optional<fs::path> homeOfCommand() {
    std::istringstream folders(environment(u"PATH"));
    for (std::string folder; std::getline(folders, folder, ':');) {
        std::error_code absent;
        const fs::path program = fs::canonical(fs::path(folder) / "java", absent);
        if (!absent && program.parent_path().filename() == "bin")
            return program.parent_path().parent_path();
    }
    return std::nullopt;
}

} // namespace

std::vector<JavaRuntime> findJavaRuntimes(const std::vector<fs::path>& places) {
    std::vector<JavaRuntime> found;
    const auto add = [&](const fs::path& place) {
        std::error_code absent;
        const fs::path home = fs::canonical(place, absent);
        if (absent || std::any_of(found.begin(), found.end(), [&](const auto& each) { return each.home == home; }))
            return;
        JavaRuntime runtime{versionOf(home), home, libraryOf(home)};
        if (!runtime.version.empty() && !runtime.machine.empty())
            found.push_back(std::move(runtime));
    };
    for (const fs::path& place : places) {
        add(place);
        for (const fs::path& folder : foldersOf(place))
            add(folder);
    }
    return found;
}

std::vector<fs::path> usualJavaPlaces() {
    std::vector<fs::path> places{SYSTEM_FOLDER};
    if (const std::string home = environment(u"JAVA_HOME"); !home.empty())
        places.emplace_back(home);
    if (auto home = homeOfCommand())
        places.push_back(std::move(*home));
    return places;
}

} // namespace norqreg

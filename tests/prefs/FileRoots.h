#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include <unistd.h>

namespace norqstd_test {

/// The folders in which the trees of this process lie, which are settled before anybody asks for a root, and go with
/// it.
class FileRoots {
public:
    static const FileRoots& get() {
        static const FileRoots roots;
        return roots;
    }

    const std::filesystem::path& user() const { return userFolder; }
    const std::filesystem::path& system() const { return systemFolder; }

private:
    FileRoots()
        : folder(make())
        , userFolder(folder / "user")
        , systemFolder(folder / "system")
        , owner(getpid()) {
        std::filesystem::create_directories(userFolder);
        std::filesystem::create_directories(systemFolder);
        setenv("USERPROFILE", userFolder.c_str(), 1);
        setenv("NORQSTD_PREFS_SYSTEM_ROOT", systemFolder.c_str(), 1);
    }
    ~FileRoots() {
        if (owner == getpid())
            std::filesystem::remove_all(folder);
    }

    static std::string make() {
        std::string name = (std::filesystem::temp_directory_path() / "norqstd-prefs-XXXXXX").string();
        return mkdtemp(name.data()) != nullptr ? name : std::string();
    }

    const std::filesystem::path folder;
    const std::filesystem::path userFolder;
    const std::filesystem::path systemFolder;
    const pid_t owner;
};

} // namespace norqstd_test

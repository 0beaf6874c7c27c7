#include "platform/LoadedModules.h"

#include "platform/NarrowText.h"

#include <array>
#include <link.h>
#include <string>
#include <unistd.h>

namespace norq_std_internal::platform {

namespace {

std::string programPath() {
    std::array<char, 4096> path;
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    return length > 0 ? std::string(path.data(), static_cast<std::size_t>(length)) : std::string();
}

} // namespace

std::vector<LoadedModule> loadedModules() {
    // The loader's lock is held during the walk: copy first, convert afterwards.
    std::vector<std::string> paths;
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* context) {
            static_cast<std::vector<std::string>*>(context)->emplace_back(info->dlpi_name);
            return 0;
        },
        &paths);
    std::vector<LoadedModule> modules;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        // The program comes first and has no name; the kernel's own module has a name, but no file.
        const std::string path = i == 0 && paths[i].empty() ? programPath() : paths[i];
        const std::size_t separator = path.rfind('/');
        if (separator != path.npos)
            modules.push_back({toWide(path.substr(separator + 1)), toWide(path)});
    }
    return modules;
}

} // namespace norq_std_internal::platform

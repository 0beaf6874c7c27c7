#include "platform/SharedLibrary.h"

#include "platform/Error.h"
#include "platform/FileSystem.h"
#include "platform/NarrowText.h"

#include <dlfcn.h>
#include <unistd.h>

namespace norq_std_internal::platform {

using norq_std::WString;

void* loadLibrary(const WString& path, WString& reason) {
    const std::string native = nativePath(path);
    void* const module = dlopen(native.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module != nullptr)
        return module;
    const char* const text = dlerror(); // NOLINT(concurrency-mt-unsafe): this thread's own in the C library
    reason = text == nullptr ? WString() : toWide(text);
    // The loader gives no number, and its words are the same for a file and for a library that the file needs.
    setLastError(access(native.c_str(), F_OK) != 0 ? FileNotFound : BadLibrary);
    return nullptr;
}

void freeLibrary(void* module) noexcept {
    if (module != nullptr)
        dlclose(module);
}

void* librarySymbol(void* module, const std::string& name) noexcept {
    return module == nullptr ? nullptr : dlsym(module, name.c_str());
}

std::vector<WString> libraryFileNames(const WString& name) { return {u"lib" + name + u".so", name + u".so", name}; }

std::vector<WString> searchPathDirectories(const WString& list) {
    std::vector<WString> directories;
    WString entry;
    const auto take = [&] {
        if (!entry.empty())
            directories.push_back(entry);
        entry.clear();
    };
    for (std::size_t i = 0; i < list.size(); ++i) {
        const bool drive = entry.size() == 1 && i + 1 < list.size() && (list[i + 1] == u'\\' || list[i + 1] == u'/');
        if (list[i] == u';' || (list[i] == u':' && !drive))
            take();
        else
            entry += list[i];
    }
    take();
    return directories;
}

} // namespace norq_std_internal::platform

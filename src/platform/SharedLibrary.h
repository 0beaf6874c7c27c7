#pragma once

#include "base/WString.h"

#include <string>
#include <vector>

namespace norq_std_internal::platform {

/// Loads a shared library by its path. Null on failure, with `FileNotFound` as last error if there is no such file and
/// `BadLibrary` otherwise, and the loader's own words in `reason`.
void* loadLibrary(const norq_std::WString& path, norq_std::WString& reason);

/// Gives back one load; nothing for null.
void freeLibrary(void* module) noexcept;

/// Null if the library exports no such symbol.
void* librarySymbol(void* module, const std::string& name) noexcept;

/// The file names under which a library of this bare name is searched, the likeliest first.
std::vector<norq_std::WString> libraryFileNames(const norq_std::WString& name);

/// The directories of a search list, in order, empty ones left out.
std::vector<norq_std::WString> searchPathDirectories(const norq_std::WString& list);

} // namespace norq_std_internal::platform

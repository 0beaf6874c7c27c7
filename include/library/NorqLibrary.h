#pragma once

#include "base/Export.h"
#include "base/Object.h"
#include "base/WString.h"

#include <memory>

namespace norq_std_internal {
class NorqLibraryPimpl;
}

namespace norq_std {

class File;

/// A shared library that is loaded as long as the object lives: symbols must not be used after it.
///
/// The system counts loads, so two objects may hold one library. An object belongs to one thread at a time; different
/// objects are independent.
class NORQSTD_EXPORT NorqLibrary : public Object {
public:
    /// Searches a library by its bare name and loads the first that can be loaded.
    ///
    /// The places are, in this order: the directories of the system property "Ext_Library_Path", the working directory,
    /// the directories of the environment variables "LIB" and "PATH". In each directory the files `lib<name>.so`,
    /// `<name>.so` and `<name>` are tried. Directories are separated by ";", or by the platform's ":" where it is not
    /// that of a drive. A directory that is no valid path is passed over.
    ///
    /// Throws `NorqIllegalArgumentException` if there is none, and `NorqUnknownException` if there were only libraries
    /// that could not be loaded; it nests the last failure.
    explicit NorqLibrary(const WString& name);

    /// Loads exactly this file.
    ///
    /// Throws `NorqIllegalArgumentException` if it does not exist, and `NorqUnknownException` if it cannot be loaded
    /// (no library, another architecture, a library that it needs is missing); the text says why.
    explicit NorqLibrary(const File& file);

    NorqLibrary(const NorqLibrary&) = delete;
    NorqLibrary& operator=(const NorqLibrary&) = delete;
    ~NorqLibrary() override;

    WString toString() const override;

    /// The path that was loaded.
    WString getPath() const;

    /// The address of a symbol as a `T`, a pointer to a function or an object, whose type nobody checks. Throws
    /// `NorqIllegalArgumentException` if the library has no such symbol.
    template <class T>
    T getSymbol(const WString& name) const {
        return reinterpret_cast<T>(getSymbolInternal(name));
    }

private:
    void* getSymbolInternal(const WString& name) const;
    bool tryPath(const WString& directory, const WString& file);
    bool tryMultiplePaths(const WString& directories, const WString& file);

    std::shared_ptr<norq_std_internal::NorqLibraryPimpl> pimpl;
};

} // namespace norq_std

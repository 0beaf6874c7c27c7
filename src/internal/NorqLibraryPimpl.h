#pragma once

#include "base/WString.h"

namespace norq_std_internal {

/// The loaded library behind a `NorqLibrary`, freed with the object.
class NorqLibraryPimpl {
public:
    NorqLibraryPimpl() = default;
    NorqLibraryPimpl(const NorqLibraryPimpl&) = delete;
    NorqLibraryPimpl& operator=(const NorqLibraryPimpl&) = delete;
    virtual ~NorqLibraryPimpl();

    virtual norq_std::WString toString() const;

    /// Throws `NorqIllegalArgumentException` if there is no such file, `NorqUnknownException` if it cannot be loaded.
    void load(const norq_std::WString& libraryPath);
    norq_std::WString getPath() const { return path; }
    /// Throws `NorqIllegalArgumentException` if there is no such symbol.
    void* getSymbol(const norq_std::WString& name) const;

private:
    void* module = nullptr;
    norq_std::WString path;
};

} // namespace norq_std_internal

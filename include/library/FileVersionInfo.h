#pragma once

#include "base/Export.h"
#include "base/Object.h"
#include "base/WString.h"

#include <memory>

namespace norq_std_internal {
class FileVersionInfoImpl;
}

namespace norq_std {

/// The version resource of an executable file or shared library.
///
/// The file is read once, at construction, and not loaded. On ELF platforms the resource is a note that the CMake
/// function `norqstd_version_info` puts in; docs/versions.md tells its form. A getter gives the empty text for a key
/// that the resource lacks, and "Invalid filename" where there is no such file or no resource in it. No operation
/// throws for what a file holds. An object belongs to one thread at a time.
class NORQSTD_EXPORT FileVersionInfo : public Object {
public:
    explicit FileVersionInfo(const WString& filename);
    FileVersionInfo(const FileVersionInfo&) = delete;
    FileVersionInfo& operator=(const FileVersionInfo&) = delete;
    ~FileVersionInfo() override;

    WString GetProductName() const;
    WString GetProductVersion() const;
    WString GetCompanyName() const;
    WString GetCopyright() const;
    WString GetComments() const;
    WString GetFileDescription() const;
    WString GetFileVersion() const;
    WString GetInternalName() const;
    WString GetLegalTrademarks() const;
    WString GetPrivateBuild() const;
    WString GetSpecialBuild() const;

private:
    std::shared_ptr<norq_std_internal::FileVersionInfoImpl> pimpl;
};

} // namespace norq_std

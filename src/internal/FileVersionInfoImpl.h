#pragma once

#include "base/WString.h"
#include "internal/VersionBlock.h"

namespace norq_std_internal {

/// The file and the resource behind a `FileVersionInfo`.
class FileVersionInfoImpl {
public:
    void SetFilename(const norq_std::WString& name) {
        filename = name;
        block.load(name);
    }
    norq_std::WString GetFilename() const { return filename; }
    bool IsValid() const { return block.isValid(); }

    norq_std::WString GetProductName() const { return block.value(VersionBlock::ProductName); }
    norq_std::WString GetProductVersion() const { return block.value(VersionBlock::ProductVersion); }
    norq_std::WString GetCompanyName() const { return block.value(VersionBlock::CompanyName); }
    norq_std::WString GetCopyright() const { return block.value(VersionBlock::LegalCopyright); }
    norq_std::WString GetComments() const { return block.value(VersionBlock::Comments); }
    norq_std::WString GetFileDescription() const { return block.value(VersionBlock::FileDescription); }
    norq_std::WString GetFileVersion() const { return block.value(VersionBlock::FileVersion); }
    norq_std::WString GetInternalName() const { return block.value(VersionBlock::InternalName); }
    norq_std::WString GetLegalTrademarks() const { return block.value(VersionBlock::LegalTrademarks); }
    norq_std::WString GetPrivateBuild() const { return block.value(VersionBlock::PrivateBuild); }
    norq_std::WString GetSpecialBuild() const { return block.value(VersionBlock::SpecialBuild); }

private:
    norq_std::WString filename;
    VersionBlock block;
};

} // namespace norq_std_internal

#include "library/FileVersionInfo.h"

#include "internal/FileVersionInfoImpl.h"

namespace norq_std {

using norq_std_internal::FileVersionInfoImpl;

FileVersionInfo::FileVersionInfo(const WString& filename)
    : pimpl(std::make_shared<FileVersionInfoImpl>()) {
    pimpl->SetFilename(filename);
}

FileVersionInfo::~FileVersionInfo() = default;

WString FileVersionInfo::GetProductName() const { return pimpl->GetProductName(); }
WString FileVersionInfo::GetProductVersion() const { return pimpl->GetProductVersion(); }
WString FileVersionInfo::GetCompanyName() const { return pimpl->GetCompanyName(); }
WString FileVersionInfo::GetCopyright() const { return pimpl->GetCopyright(); }
WString FileVersionInfo::GetComments() const { return pimpl->GetComments(); }
WString FileVersionInfo::GetFileDescription() const { return pimpl->GetFileDescription(); }
WString FileVersionInfo::GetFileVersion() const { return pimpl->GetFileVersion(); }
WString FileVersionInfo::GetInternalName() const { return pimpl->GetInternalName(); }
WString FileVersionInfo::GetLegalTrademarks() const { return pimpl->GetLegalTrademarks(); }
WString FileVersionInfo::GetPrivateBuild() const { return pimpl->GetPrivateBuild(); }
WString FileVersionInfo::GetSpecialBuild() const { return pimpl->GetSpecialBuild(); }

} // namespace norq_std

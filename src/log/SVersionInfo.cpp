#include "log/SVersionInfo.h"

#include "base/EncodingUtils.h"
#include "base/StringUtils.h"
#include "concurrency/TimeUtils.h"
#include "internal/VersionBlock.h"
#include "log/SLog.h"
#include "system/NorqSystem.h"

namespace NorqStd {

using norq_std::EncodingUtils;
using norq_std::StringUtils;
using norq_std::TimeUtils;
using norq_std::WString;
using norq_std_internal::VersionBlock;

namespace {

constexpr const char* TAG = "VERSION INFO:";

template <class... A>
void print(std::FILE* stream, norq_std::WideFormat<std::type_identity_t<A>...> format, const A&... arguments) {
    const std::string line = EncodingUtils::convertUnicodeToMbcs(StringUtils::format(format, arguments...), 0);
    std::fwrite(line.data(), 1, line.size(), stream);
}

} // namespace

SVersionInfo::SVersionInfo()
    : block(std::make_unique<VersionBlock>()) {}

SVersionInfo::SVersionInfo(const SWString& name)
    : SVersionInfo() {
    SetFilename(name);
}

SVersionInfo::SVersionInfo(const SVersionInfo& other)
    : filename(other.filename)
    , block(std::make_unique<VersionBlock>(*other.block))
    , modules(other.modules) {}

SVersionInfo& SVersionInfo::operator=(const SVersionInfo& other) {
    filename = other.filename;
    *block = *other.block;
    modules = other.modules;
    return *this;
}

SVersionInfo::~SVersionInfo() = default;

void SVersionInfo::SetFilename(const SWString& name) {
    filename = name;
    block->load(name);
}

SWString SVersionInfo::GetFilename() const { return filename; }
bool SVersionInfo::IsValid() const { return block->isValid(); }
SWString SVersionInfo::GetProductName() const { return block->value(VersionBlock::ProductName); }
SWString SVersionInfo::GetProductVersion() const { return block->value(VersionBlock::ProductVersion); }
SWString SVersionInfo::GetCompanyName() const { return block->value(VersionBlock::CompanyName); }
SWString SVersionInfo::GetCopyright() const { return block->value(VersionBlock::LegalCopyright); }
SWString SVersionInfo::GetComments() const { return block->value(VersionBlock::Comments); }
SWString SVersionInfo::GetFileDescription() const { return block->value(VersionBlock::FileDescription); }
SWString SVersionInfo::GetFileVersion() const { return block->value(VersionBlock::FileVersion); }
SWString SVersionInfo::GetInternalName() const { return block->value(VersionBlock::InternalName); }
SWString SVersionInfo::GetLegalTrademarks() const { return block->value(VersionBlock::LegalTrademarks); }
SWString SVersionInfo::GetPrivateBuild() const { return block->value(VersionBlock::PrivateBuild); }
SWString SVersionInfo::GetSpecialBuild() const { return block->value(VersionBlock::SpecialBuild); }

bool SVersionInfo::AddModule(std::FILE* stream, const SWString& module) {
    if (stream != nullptr && !modules.contains(module))
        writeModule(stream, module);
    modules.insert(module);
    return true;
}

bool SVersionInfo::DeleteModule(const SWString& module) {
    modules.erase(module);
    return true;
}

bool SVersionInfo::WriteModuleVerInfo(std::FILE* stream, const SLog* log) {
    if (log == nullptr)
        return false;
    print(stream, u"%hs Platform <%ls>.\n", TAG, GetOSName());
    print(stream, u"%hs Hostname <%ls>.\n", TAG, GetHostName());
    print(stream, u"%hs Timezone <%ls>, DST Zone <%ls>.\n", TAG, TimeUtils::getTimezone(), TimeUtils::getDSTZone());
    print(stream, u"%hs Current Time <%ls>.\n", TAG, GetCurrentTimestamp());
    print(stream, u"%hs Debug threshold <%ls>.\n", TAG, log->GetThreshold());
    print(stream, u"%hs Debug size <%d>.\n", TAG, log->GetDbgFileSize());
    print(stream, u"%hs Debug files <%d>.\n", TAG, log->GetDbgFiles());
    print(stream, u"%hs Log size <%d>.\n", TAG, log->GetLogFileSize());
    print(stream, u"%hs Log files <%d>.\n", TAG, log->GetLogFiles());
    for (const SWString& module : modules)
        writeModule(stream, module);
    return true;
}

void SVersionInfo::writeModule(std::FILE* stream, const SWString& module) {
    SetFilename(module);
    print(stream, u"%hs %ls: Product <%ls> Version <%ls> Pri Build <%ls> Special Build <%ls>.\n", TAG, module,
          GetProductName(), GetProductVersion(), GetPrivateBuild(), GetSpecialBuild());
}

SWString GetOSName() { return u"Failed to get correct Operating System."; }

SWString GetHostName() { return norq_std::NorqSystem::getHostName(); }

SWString GetCurrentTimestamp() {
    const WString now = TimeUtils::getCurrentTimestamp();
    return now.empty() ? now : now + u' ';
}

} // namespace NorqStd

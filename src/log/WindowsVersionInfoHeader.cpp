#include "log/WindowsVersionInfoHeader.h"

#include "base/EncodingUtils.h"
#include "base/LogEventPriority.h"
#include "base/StaticLog.h"
#include "base/StringUtils.h"
#include "concurrency/TimeUtils.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "library/FileVersionInfo.h"
#include "log/RollingFile.h"
#include "platform/LoadedModules.h"
#include "system/NorqSystem.h"

namespace norq_std {

namespace {

constexpr const WChar* TAG = u"VERSION INFO: ";
constexpr const WChar* ENVIRONMENT = u"VERSION INFO: Environment: ";

template <class Path>
WString orUnavailable(Path path) {
    try {
        return path().getCanonicalPath();
    } catch (const NorqException&) {
        return u"Unavailable";
    }
}

} // namespace

WindowsVersionInfoHeader::WindowsVersionInfoHeader()
    : userDirectory(orUnavailable(File::getUserDirectory)) {}

WindowsVersionInfoHeader::~WindowsVersionInfoHeader() = default;

WString WindowsVersionInfoHeader::toString() const { return u"WindowsVersionInfoHeader{}"; }

WindowsVersionInfoHeader* WindowsVersionInfoHeader::newInstance(const Properties&) const {
    return new WindowsVersionInfoHeader;
}

WString WindowsVersionInfoHeader::getClassName() const { return u"norq_std.WindowsVersionInfoHeader"; }

void WindowsVersionInfoHeader::writeHeader(RollingFile& rollingFile) {
    WString text;
    writeEnvironment(text);
    writeLoggingConfig(text, rollingFile);
    writeModules(text);
    const std::string bytes = EncodingUtils::convertUnicodeToMbcs(text, 0);
    rollingFile.write(reinterpret_cast<const unsigned char*>(bytes.data()), 0,
                      static_cast<std::uint32_t>(bytes.size()));
}

void WindowsVersionInfoHeader::writeEnvironment(WString& text) const {
    StringUtils::formatAppend(text, u"%lsPlatform <%ls>.\n", ENVIRONMENT, NorqSystem::getOperatingSystemName());
    StringUtils::formatAppend(text, u"%lsWorking Dir: <%ls>.\n", ENVIRONMENT, orUnavailable(File::getWorkingDirectory));
    StringUtils::formatAppend(text, u"%lsUser Dir: <%ls>.\n", ENVIRONMENT, userDirectory);
    StringUtils::formatAppend(text, u"%lsHostname <%ls>.\n", ENVIRONMENT, NorqSystem::getHostName());
    StringUtils::formatAppend(text, u"%lsTimezone <%ls>, DST Zone <%ls>.\n", ENVIRONMENT, TimeUtils::getTimezone(),
                              TimeUtils::getDSTZone());
    StringUtils::formatAppend(text, u"%lsCurrent time <%ls>.\n", ENVIRONMENT, TimeUtils::getCurrentTimestamp());
}

void WindowsVersionInfoHeader::writeLoggingConfig(WString& text, const RollingFile& rollingFile) const {
    StringUtils::formatAppend(text, u"%lsDebug threshold <%ls>.\n", TAG,
                              logEventPriorityToString(StaticLog::getThreshold()));
    StringUtils::formatAppend(text, u"%lsMax file size <%u>.\n", TAG, rollingFile.getMaximumSize());
    StringUtils::formatAppend(text, u"%lsMax file count <%u>.\n", TAG, rollingFile.getMaximumFiles());
}

void WindowsVersionInfoHeader::writeModules(WString& text) {
    for (const auto& [name, path] : norq_std_internal::platform::loadedModules())
        writeModule(text, name, path);
}

void WindowsVersionInfoHeader::writeModule(WString& text, const WString& name, const WString& path) {
    auto [version, isNew] = versions.try_emplace(path);
    if (isNew) {
        const FileVersionInfo info(path);
        version->second = StringUtils::format(u"Product <%ls> Version <%ls> Pri Build <%ls> Special Build <%ls>",
                                              info.GetProductName(), info.GetProductVersion(), info.GetPrivateBuild(),
                                              info.GetSpecialBuild());
    }
    StringUtils::formatAppend(text, u"%lsModule: %ls: %ls.\n", TAG, name, version->second);
}

} // namespace norq_std

#include "system/NorqSystem.h"

#include "base/EncodingUtils.h"
#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "internal/ReadWriteGuards.h"
#include "platform/Error.h"
#include "platform/SystemInfo.h"

namespace norq_std {

namespace platform = norq_std_internal::platform;
using norq_std_internal::ReadGuard;
using norq_std_internal::WriteGuard;

namespace {

constexpr WChar UserDirectory[] = u"USERPROFILE";
constexpr WChar VariableName[] = u"Environment variable name";
constexpr WChar KeyName[] = u"Property key";

} // namespace

NorqSystem::NorqSystem() = default;

NorqSystem::~NorqSystem() = default;

WString NorqSystem::toString() const { return u"NorqSystem{}"; }

NorqSystem::OSType NorqSystem::getOperatingSystemType() { return OS_WINDOWS; }

WString NorqSystem::getOperatingSystemName() {
    return EncodingUtils::convertUtf8ToUnicode(platform::operatingSystemName());
}

WString NorqSystem::getHostName() { return EncodingUtils::convertMbcsToUnicode(platform::hostName(), 0); }

WString NorqSystem::getWindowsDomain() {
    std::string domain;
    if (!platform::dnsDomain(domain))
        NORQ_LOG(CALL, u"norq_std::NorqSystem::getWindowsDomain", u"GetComputerNameEx failed (%d)",
                 platform::lastError());
    return EncodingUtils::convertMbcsToUnicode(domain, 0);
}

WString NorqSystem::getEnv(const WString& name) const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqSystem::getEnv");
    ErrorUtils::isEmptyEx(name, u"norq_std::NorqSystem::getEnv", VariableName);
    WString value;
    platform::environmentVariable(name, value);
    return value.empty() && name == UserDirectory ? platform::homeDirectory() : value;
}

bool NorqSystem::putEnv(const WString& name, const WString& value) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqSystem::putEnv");
    ErrorUtils::isEmptyEx(name, u"norq_std::NorqSystem::putEnv", VariableName);
    return platform::putEnvironment(name + u"=" + value);
}

WString NorqSystem::getProperty(const WString& key, const WString& defaultValue) const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqSystem::getProperty");
    ErrorUtils::isEmptyEx(key, u"norq_std::NorqSystem::getProperty", KeyName);
    WString value = [&] {
        const ReadGuard guard(lock());
        const auto found = properties.find(key);
        return found == properties.end() ? defaultValue : found->second;
    }();
    NORQ_LOG(CALL, u"norq_std::NorqSystem::getProperty", u"Return <%ls>.", value);
    return value;
}

WString NorqSystem::setProperty(const WString& key, const WString& value) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqSystem::setProperty");
    ErrorUtils::isEmptyEx(key, u"norq_std::NorqSystem::setProperty", KeyName);
    WString previous = value;
    const WriteGuard guard(lock());
    properties[key].swap(previous);
    return previous;
}

NorqSystem::Properties NorqSystem::getProperties() const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqSystem::getProperties");
    const ReadGuard guard(lock());
    return properties;
}

void NorqSystem::setProperties(const Properties& newProperties) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqSystem::setProperties");
    Properties replaced = newProperties;
    const WriteGuard guard(lock());
    properties.swap(replaced);
}

const WChar* NorqSystem::getSingletonName() { return u"norq_std::NorqSystem"; }

ReadWriteLock& NorqSystem::lock() {
    static ReadWriteLock& guard = *new ReadWriteLock(32);
    return guard;
}

} // namespace norq_std

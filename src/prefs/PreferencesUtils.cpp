#include "prefs/PreferencesUtils.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "prefs/Preferences.h"
#include "system/Paths.h"

namespace norq_std {

namespace {

/// What `read` gets from the node; the default if the node is removed meanwhile.
template <class T, class Read>
T valueFrom(const WString& pathKey, bool isSystem, const T& defaultValue, const WChar* function, const Read& read) {
    try {
        if (const std::shared_ptr<Preferences> node = PreferencesUtils::getNode(pathKey, isSystem))
            return read(*node);
        NORQ_LOG(DEBUG, u"norq_std::PreferencesUtils", u"Node is NULL!");
    } catch (const NorqIllegalStateException& failure) {
        failure.logDebug(function);
    }
    return defaultValue;
}

} // namespace

std::shared_ptr<Preferences> PreferencesUtils::getNode(const WString& pathKey, bool isSystem) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::PreferencesUtils::getNode");
    const WString path = Paths::getInstance()->getPath(pathKey, WString());
    ErrorUtils::isEmptyEx(path, u"norq_std::PreferencesUtils::getNode", u"Preferences path");
    return (isSystem ? Preferences::systemRoot() : Preferences::userRoot())->node(path);
}

WString PreferencesUtils::getString(const WString& pathKey, const WString& key, const WString& defaultValue,
                                    bool isSystem) {
    static constexpr WChar Function[] = u"norq_std::PreferencesUtils::getString";
    ErrorUtils::isEmptyEx(key, Function, u"Preferences key");
    return valueFrom(pathKey, isSystem, defaultValue, Function,
                     [&](const Preferences& node) { return node.get(key, defaultValue); });
}

std::int32_t PreferencesUtils::getInt(const WString& pathKey, const WString& key, std::int32_t defaultValue,
                                      bool isSystem) {
    static constexpr WChar Function[] = u"norq_std::PreferencesUtils::getInt";
    ErrorUtils::isEmptyEx(key, Function, u"Preferences key");
    return valueFrom(pathKey, isSystem, defaultValue, Function,
                     [&](const Preferences& node) { return node.getInt(key, defaultValue); });
}

} // namespace norq_std

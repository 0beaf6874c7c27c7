#include "log/StaticLogConfig.h"

#include "base/Functor.h"
#include "base/LogMacros.h"
#include "base/StaticLogConstants.h"
#include "base/StringUtils.h"
#include "base/UtfUtils.h"
#include "config/ConfigurationChangeEvent.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "internal/LogRoad.h"
#include "log/ILogAppender.h"
#include "log/NorqLoggerSTD.h"
#include "log/StaticLogFactory.h"
#include "platform/DebugOutput.h"
#include "system/Paths.h"

#include <boost/algorithm/string.hpp>
#include <cxxabi.h>

#include <optional>
#include <vector>

namespace norq_std {

using norq_std_internal::LogRoad;
using Constants = StaticLogConstants;

namespace {

constexpr const WChar* DEFAULT_FOLDER = u"../config";
constexpr const WChar* ON_CHANGE = u"norq_std::StaticLogConfig::onConfigChange";

/// The section and the key that a value such as "{section,key}" or "{key}" refers to.
struct Reference {
    WString section;
    WString key;
};

std::optional<Reference> referenceIn(const WString& value) {
    if (value.size() < 3 || value.front() != u'{' || value.back() != u'}')
        return std::nullopt;
    const WString inside = value.substr(1, value.size() - 2);
    const std::size_t comma = inside.find(u',');
    Reference reference = comma == inside.npos ? Reference{WString(), inside}
                                               : Reference{inside.substr(0, comma), inside.substr(comma + 1)};
    StringUtils::trim(reference.section);
    StringUtils::trim(reference.key);
    return reference;
}

WString configFolder() {
    try {
        return Paths::getInstance()->getPath(u"System Config Path Key", DEFAULT_FOLDER);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const NorqException& e) {
        norq_std_internal::platform::consoleOutput(StringUtils::format(u"Caught: <%ls>.\n", e.getMessage()));
    } catch (...) {
        norq_std_internal::platform::consoleOutput(u"Caught unknown.\n");
    }
    return DEFAULT_FOLDER;
}

} // namespace

StaticLogConfig::StaticLogConfig() = default;

StaticLogConfig::~StaticLogConfig() = default;

void StaticLogConfig::initialize(const WString& moduleName) {
    constexpr const WChar* function = u"norq_std::StaticLogConfig::initialize";
    config.addConfigurationListener(std::shared_ptr<ConfigurationListener>(this, null_deleter()));
    const WString name = moduleName + u".cfg";
    File file(configFolder(), name);
    if (!file.exists()) {
        NORQ_LOG(DEBUG, function, u"Config file: '%ls' does not exist.", file.getPath());
        file = File(DEFAULT_FOLDER, name);
    }
    NORQ_LOG(DEBUG, function, u"Using config file: '%ls'", file.getPath());
    config.setPath(file.getCanonicalFile());
    try {
        config.load();
    } catch (const NorqException& e) {
        throw NorqIOException(u"Unable to load StaticLog config file.", e);
    }
    loadThreshold();
    loadModules();
    loadAppenders();
}

WString StaticLogConfig::getConfigPath() const { return config.getPath().getPath(); }

void StaticLogConfig::addConfigurationListener(const std::shared_ptr<ConfigurationListener>& listener) {
    config.addConfigurationListener(listener);
}

void StaticLogConfig::removeConfigurationListener(const std::shared_ptr<ConfigurationListener>& listener) {
    config.removeConfigurationListener(listener);
}

void StaticLogConfig::loadThreshold() {
    LogRoad::setThreshold(
        logEventPriorityFromString(config.getValue(Constants::threshold, Constants::debugSection), INFO));
}

void StaticLogConfig::loadModules() {
    const WString list = config.getValue(Constants::modules, Constants::appenderSection);
    if (list.empty())
        return;
    std::vector<WString> modules;
    boost::split(modules, list, boost::is_any_of(u","));
    for (WString& module : modules) {
        StringUtils::trim(module);
        try {
            StaticLogFactory::getInstance().loadModule(module);
        } catch (const NorqException& e) {
            NORQ_LOG(DEBUG, u"norq_std::StaticLogConfig::loadModules", u"Unable to load %ls: <%ls>", module,
                     e.getMessage());
        }
    }
}

void StaticLogConfig::loadAppenders() {
    for (const auto& [name, properties] : getAppenderProperties()) {
        try {
            appenders[name] = StaticLogFactory::getInstance().createAppender(name, properties);
        } catch (const NorqException& e) {
            NORQ_LOG(DEBUG, u"norq_std::StaticLogConfig::loadAppenders", u"Unable to load appender %ls: %ls", name,
                     e.getMessage());
        }
    }
}

std::map<WString, StaticLogConfig::Properties> StaticLogConfig::getAppenderProperties() const {
    std::map<WString, Properties> result;
    for (const WString& key : config.getKeys(Constants::appenderSection))
        if (const auto [appender, property] = splitKey(key); !appender.empty())
            result[appender][property] = evaluate(config.getValue(key, Constants::appenderSection));
    return result;
}

WString StaticLogConfig::evaluate(const WString& value) const {
    const std::optional<Reference> reference = referenceIn(value);
    return reference ? config.getValue(reference->key, reference->section) : value;
}

bool StaticLogConfig::isAliasOf(const WString& value, const WString& section, const WString& key) {
    const std::optional<Reference> reference = referenceIn(value);
    return reference && reference->section == section && reference->key == key;
}

StaticLogConfig::PropertyName StaticLogConfig::splitKey(const WString& key) {
    const WString rest = StringUtils::trimPrefix(key, Constants::appenderPrefix);
    const std::size_t dot = rest.find(u'.');
    if (dot == 0 || dot == rest.npos)
        return {};
    return {rest.substr(0, dot), rest.substr(dot + 1)};
}

void StaticLogConfig::onConfigChange(const ConfigurationChangeEvent& event) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::StaticLogConfig::onConfigChange");
    const WString section = event.getSection();
    if (section == Constants::debugSection && event.getKey() == Constants::threshold) {
        NORQ_LOG(TRACE, ON_CHANGE, u"Threshold change.");
        return changeThreshold(event);
    }
    // The configuration is read before the log's locks are taken, never within them.
    std::vector<std::pair<WString, WString>> changes;
    if (section == Constants::appenderSection) {
        NORQ_LOG(TRACE, ON_CHANGE, u"Direct appender change.");
        changes.emplace_back(event.getKey(), evaluate(event.getValue()));
    } else {
        NORQ_LOG(TRACE, ON_CHANGE, u"Other config change.");
        for (const WString& key : config.getKeys(Constants::appenderSection))
            if (isAliasOf(config.getValue(key, Constants::appenderSection), section, event.getKey()))
                changes.emplace_back(key, event.getValue());
    }
    LogRoad::whileHeld([&] {
        for (const auto& [key, value] : changes)
            changeProperty(key, value);
    });
}

void StaticLogConfig::changeThreshold(const ConfigurationChangeEvent& event) {
    const LogEventPriority threshold = event.getEventType() == ConfigurationChangeEvent::Removed
                                           ? INFO
                                           : logEventPriorityFromString(event.getValue(), INFO);
    LogRoad::setThreshold(threshold);
    NorqLoggerSTD::getInstance().STD0008(ON_CHANGE, logEventPriorityToString(threshold).c_str());
}

void StaticLogConfig::changeProperty(const WString& key, const WString& value) {
    const auto [name, property] = splitKey(key);
    if (name.empty())
        return;
    NORQ_LOG(TRACE, ON_CHANGE, u"Appender <%ls> value <%ls> changed to <%ls>.", name, property, value);
    const auto appender = appenders.find(name);
    if (appender == appenders.end()) {
        NORQ_LOG(TRACE, ON_CHANGE, u"Appender not found.");
        return;
    }
    NORQ_LOG(TRACE, ON_CHANGE, u"Setting value for appender.");
    try {
        appender->second->setProperty(property, value);
    } catch (const NorqException& e) { // the appender does with less; the thread that reports changes goes on
        NORQ_LOG(DEBUG, ON_CHANGE, u"Unable to set <%ls> of appender %ls: %ls", property, name, e.getMessage());
    }
}

} // namespace norq_std

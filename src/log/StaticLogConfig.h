#pragma once

#include "base/Configurable.h"
#include "base/Export.h"
#include "base/WString.h"
#include "config/ConfigurationListener.h"
#include "config/NorqConfig.h"

#include <map>
#include <memory>
#include <utility>

namespace norq_std {

class ILogAppender;

/// What the log reads from its configuration file: the threshold, modules with more classes, and the appenders. It
/// listens to the file and passes changes of the threshold and of appenders' properties on.
///
/// `initialize` is called once, before the log is open for lines; from then on changes come on the thread that reports
/// them, with the log's locks held while they are worked in.
class NORQSTD_EXPORT StaticLogConfig : public ConfigurationListener {
public:
    using Properties = Configurable::Properties;
    using Appenders = std::map<WString, std::shared_ptr<ILogAppender>>;

    StaticLogConfig();
    StaticLogConfig(const StaticLogConfig&) = delete;
    StaticLogConfig& operator=(const StaticLogConfig&) = delete;
    ~StaticLogConfig() override;

    void onConfigChange(const ConfigurationChangeEvent& event) override;

    /// Throws `NorqIOException` if the file cannot be loaded. A bad module or appender costs itself alone.
    void initialize(const WString& moduleName);
    const Appenders& getAppenders() const { return appenders; }
    WString getConfigPath() const;

    void addConfigurationListener(const std::shared_ptr<ConfigurationListener>& listener);
    void removeConfigurationListener(const std::shared_ptr<ConfigurationListener>& listener);

private:
    /// An appender's name and the name of one of its properties.
    using PropertyName = std::pair<WString, WString>;

    void loadThreshold();
    void loadModules();
    void loadAppenders();
    std::map<WString, Properties> getAppenderProperties() const;

    /// The value itself, or that of the key that it refers to.
    WString evaluate(const WString& value) const;
    static bool isAliasOf(const WString& value, const WString& section, const WString& key);
    /// Both empty for a key that is none of an appender's property.
    static PropertyName splitKey(const WString& key);

    void changeThreshold(const ConfigurationChangeEvent& event);
    void changeProperty(const WString& key, const WString& value);

    Appenders appenders;
    NorqConfig config;
};

} // namespace norq_std

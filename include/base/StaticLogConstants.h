#pragma once

#include "base/WString.h"

namespace norq_std {

/// The words of the log sections of a configuration file.
class StaticLogConstants {
public:
    static constexpr const WChar* debugSection = u"Debug Log";        ///< section of the threshold
    static constexpr const WChar* threshold = u"Threshold";           ///< key of the threshold
    static constexpr const WChar* appenderSection = u"Log Appenders"; ///< section of modules and appenders
    static constexpr const WChar* modules = u"modules";               ///< key: comma-separated module names
    static constexpr const WChar* className = u"class";               ///< appender property: class to create
    static constexpr const WChar* appenderPrefix = u"appender.";      ///< prefix of every appender key
    static constexpr const WChar* layoutName = u"layout"; ///< appender property: layout class; prefix of its properties
    static constexpr const WChar* filterName = u"filter"; ///< appender property: filter class; prefix of its properties
    static constexpr const WChar* nullClass = u"NULL";    ///< a filter or layout class meaning none

private:
    StaticLogConstants() = default;
};

} // namespace norq_std

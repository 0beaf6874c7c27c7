#include "log/StaticLogFactory.h"

#include "base/Class.h"
#include "base/ErrorUtils.h"
#include "base/StaticLogConstants.h"
#include "concurrency/AutoLock.h"
#include "config/ConfigUtils.h"
#include "exception/NorqException.h"
#include "library/NorqLibrary.h"
#include "log/ILogAppender.h"
#include "log/ILogEventFilter.h"
#include "log/ILogEventLayout.h"

namespace norq_std {

using Constants = StaticLogConstants;
using Guard = AutoLock<Lock>;

namespace {

WString valueOf(const Configurable::Properties& properties, const WString& key) {
    const auto found = properties.find(key);
    return found == properties.end() ? WString() : found->second;
}

bool isNone(const WString& className) { return className.empty() || className == Constants::nullClass; }

/// A new object of a registered class.
template <class T>
std::shared_ptr<T> makeInstance(const WString& className, const Configurable::Properties& properties) {
    const std::shared_ptr<T> prototype = Class::getInstance().getObject<T>(className);
    if (!prototype)
        throw NorqObjectNotFoundException(u"Could not find class for name: " + className);
    std::unique_ptr<Configurable> made(prototype->newInstance(properties));
    T* const object = dynamic_cast<T*>(made.get());
    if (object == nullptr)
        throw NorqObjectNotFoundException(u"Could not find class for name: " + className);
    static_cast<void>(made.release());
    return std::shared_ptr<T>(object);
}

/// The properties behind "filter." and the like.
Configurable::Properties subset(const Configurable::Properties& properties, const WString& name) {
    return ConfigUtils::getTrimmedPrefixSubset(properties, name + u".");
}

} // namespace

StaticLogFactory::StaticLogFactory() = default;

StaticLogFactory::~StaticLogFactory() = default;

std::shared_ptr<ILogAppender> StaticLogFactory::getAppender(const WString& name) {
    ErrorUtils::isEmptyEx(name, u"norq_std::StaticLogFactory::getAppender", u"name");
    const Guard guard(lock);
    const auto found = appenders.find(name);
    return found == appenders.end() ? nullptr : found->second;
}

bool StaticLogFactory::appenderExists(const WString& name) {
    const Guard guard(lock);
    return appenders.contains(name);
}

void StaticLogFactory::removeAppender(const WString& name) {
    std::shared_ptr<ILogAppender> released; // it may log while it dies
    const Guard guard(lock);
    if (const auto found = appenders.find(name); found != appenders.end()) {
        released = std::move(found->second);
        appenders.erase(found);
    }
}

std::shared_ptr<ILogAppender> StaticLogFactory::createAppender(const WString& name, const Properties& properties) {
    ErrorUtils::isEmptyEx(name, u"norq_std::StaticLogFactory::createAppender", u"name");
    const WString className = valueOf(properties, Constants::className);
    if (className.empty())
        throw NorqIllegalArgumentException(u"Appender class name cannot be empty.");
    std::shared_ptr<ILogAppender> appender = makeInstance<ILogAppender>(className, properties);
    const std::shared_ptr<ILogEventFilter> filter = createFilter(properties);
    const std::shared_ptr<ILogEventLayout> layout = createLayout(properties);
    appender->setFilter(filter);
    appender->setLayout(layout);
    std::shared_ptr<ILogAppender> replaced = appender;
    const Guard guard(lock);
    appenders[name].swap(replaced);
    return appender;
}

std::shared_ptr<ILogEventFilter> StaticLogFactory::createFilter(const Properties& properties) {
    const WString className = valueOf(properties, Constants::filterName);
    if (isNone(className))
        throw NorqIllegalArgumentException(u"Filter cannot be NULL!");
    return makeInstance<ILogEventFilter>(className, subset(properties, Constants::filterName));
}

std::shared_ptr<ILogEventLayout> StaticLogFactory::createLayout(const Properties& properties) {
    const WString className = valueOf(properties, Constants::layoutName);
    if (isNone(className))
        return nullptr;
    return makeInstance<ILogEventLayout>(className, subset(properties, Constants::layoutName));
}

bool StaticLogFactory::moduleLoaded(const WString& name) {
    const Guard guard(lock);
    return modules.contains(name);
}

// Loading and releasing a library runs its own code and logs, and a line of the log needs locks that a thread may hold
// which waits here.

void StaticLogFactory::loadModule(const WString& name) {
    if (moduleLoaded(name))
        return;
    auto loaded = std::make_shared<NorqLibrary>(name);
    const Guard guard(lock);
    modules.try_emplace(name, std::move(loaded));
}

void StaticLogFactory::unloadModule(const WString& name) {
    std::shared_ptr<NorqLibrary> released;
    const Guard guard(lock);
    if (const auto found = modules.find(name); found != modules.end()) {
        released = std::move(found->second);
        modules.erase(found);
    }
}

} // namespace norq_std
